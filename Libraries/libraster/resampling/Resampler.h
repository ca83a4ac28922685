// Resampling of a source by a transform.

#pragma once

#include "Raster/Sampler.h"

#include "resampling/MapShape.h"
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

    /// `shape` is of a map from the source to the destination, `rect` is the part of the
    /// destination that will be read.
    static std::unique_ptr<const Resampler> Create(const SpanSource& source, const MapShape& shape,
                                                   Sampler sampler, const Rect& rect);
};

}  // namespace Raster
