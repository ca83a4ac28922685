// A source seen through a transform.

#pragma once

#include "Raster/AffineTransform.h"
#include "Raster/Sampler.h"

#include "spans/TileRows.h"

#include <memory>

namespace Raster {

/// What one run needs to read its source through a transform: worked out once, for all tiles.
///
/// Threads: OpenTile() is called by many at once.
class Resampler {
public:
    Resampler() = default;
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;
    virtual ~Resampler() = default;

    /// The rows of `tile`, which lies in the rectangle of the run. They must not outlive this.
    virtual std::unique_ptr<TileRows> OpenTile(const Rect& tile) const = 0;

    /// Fills a tile of `target` with pixels of the source as they are; false if there are none of
    /// its format.
    virtual bool CopyTile(const PixelView& target, const Rect& tile) const;

    /// Fills `picture`, which is RGBAF, tiles side by side. Ends early when the flag is set.
    void Fill(const PixelView& picture, const bool* abort) const;

    /// `inverse` maps the destination to the source, `rect` is what will be asked for. `abort` ends
    /// early what has to be done in advance.
    static std::unique_ptr<const Resampler> Create(const SpanSource& source,
                                                   const AffineTransform::Params& inverse,
                                                   Sampler sampler, const Rect& rect,
                                                   const bool* abort);
};

}  // namespace Raster
