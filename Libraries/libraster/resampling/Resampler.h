// Resampling of a source by a transform.

#pragma once

#include "Raster/AffineTransform.h"
#include "Raster/Sampler.h"

#include "spans/TileRows.h"

#include <memory>

namespace Raster {

/// The precomputed data of a run with a transform, shared by all its tiles.
///
/// Threads: OpenTile() is called concurrently.
class Resampler {
public:
    Resampler() = default;
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;
    virtual ~Resampler() = default;

    /// The rows of `tile`, which lies in the rectangle of the run. They must not outlive this.
    virtual std::unique_ptr<TileRows> OpenTile(const Rect& tile) const = 0;

    /// Copies pixels of the source unchanged to a tile of `target`; false if pixels are
    /// interpolated, not in memory or of another format.
    virtual bool CopyTile(const PixelView& target, const Rect& tile) const;

    /// Fills `picture`, which is RGBAF, with its tiles in parallel. Ends early when the flag is
    /// set.
    void Fill(const PixelView& picture, const bool* abort) const;

    /// `inverse` maps the destination to the source, `rect` is the part of the destination that
    /// will be read. `abort` ends the precomputation early.
    static std::unique_ptr<const Resampler> Create(const SpanSource& source,
                                                   const AffineTransform::Params& inverse,
                                                   Sampler sampler, const Rect& rect,
                                                   const bool* abort);
};

}  // namespace Raster
