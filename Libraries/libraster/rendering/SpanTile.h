// Conversion of a tile through the intermediate, and the tally of its pixels.

#pragma once

#include "rendering/RunContext.h"
#include "spans/TileRows.h"

namespace Raster {

/// The conversion of one tile, row by row. `source` gives the rows.
class SpanTile {
public:
    SpanTile(const RunContext& context, const Rect& tile, TileRows& source) noexcept;

    /// Ends early when the run's abort flag is set.
    void Convert();

private:
    void ApplyStages(ColumnRun covered);
    void WriteReplaced(int y, ColumnRun covered);
    void BlendInto(int y, ColumnRun columns);
    void WriteChanged(int y, ColumnRun columns, const RowBuffer& before, const RowBuffer& after);
    void Write(int y, ColumnRun columns, const RowBuffer& row);

    const HostRun& m_run;
    const Rendering& m_rendering;
    Rect m_tile;
    TileRows& m_source;
    int m_width;
    CopyTally m_tally;
    RowBuffer m_row;
};

/// Adds the pixels in `tile` of a source that is only translated to the run's tally, if there is
/// one.
void CountTile(const RunContext& context, const Rect& tile);

}  // namespace Raster
