// Sources whose rows stay rows and whose columns stay columns.

#pragma once

#include "resampling/FilterTaps.h"
#include "resampling/Resampler.h"

namespace Raster {

/// Filters rows and columns one after the other.
///
/// Where the picture gets lower, source rows are added up first, so that fewer are left to be
/// filtered along; where it gets higher, each source row is filtered along once and then used for
/// several destination rows. Which it is depends on the map alone, so that pixels never depend on
/// tiles.
class AxisResampler final : public Resampler {
public:
    AxisResampler(const SpanSource& source, AxisMap horizontal, AxisMap vertical, Sampler sampler,
                  const Rect& rect);
    std::unique_ptr<TileRows> OpenTile(const Rect& tile) const override;

private:
    const SpanSource& m_source;
    FilterTaps m_columns;
    FilterTaps m_rows;
    double m_rowStep;  // source rows to a destination row, negative where the picture is mirrored
};

}  // namespace Raster
