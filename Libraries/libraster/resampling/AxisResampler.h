// Separable resampling, for axis-aligned maps.

#pragma once

#include "resampling/FilterTaps.h"
#include "resampling/Resampler.h"

namespace Raster {

/// Filters the two axes one after the other.
///
/// For vertical downscaling, source rows are summed first, so that fewer rows are filtered
/// horizontally; for vertical upscaling, each source row is filtered horizontally once and then
/// used for several destination rows. The choice depends on the map and the source alone, so that
/// pixels never depend on tiles.
class AxisResampler final : public Resampler {
public:
    AxisResampler(const SpanSource& source, AxisMap horizontal, AxisMap vertical, Sampler sampler,
                  const Rect& rect);
    std::unique_ptr<TileRows> OpenTile(const Rect& tile) const override;

private:
    const SpanSource& m_source;
    FilterTaps m_columns;
    FilterTaps m_rows;
    double m_rowStep;  // source rows per destination row, negative if mirrored
};

}  // namespace Raster
