// A source's rows in the coordinates of the destination's tiles.

#pragma once

#include "Raster/Spans.h"

namespace Raster {

inline constexpr int TileWidth = MaximumSpanLength;
inline constexpr int TileHeight = 256;

/// Pixels of one row of a tile: unit-float RGBA, 64-byte aligned.
struct alignas(64) RowBuffer {
    float rgba[std::size_t{TileWidth} * 4];

    float* At(int column) noexcept { return rgba + std::ptrdiff_t{column} * 4; }
    const float* At(int column) const noexcept { return rgba + std::ptrdiff_t{column} * 4; }
};

/// Columns of a tile, relative to its left edge: the half-open range [begin, end).
struct ColumnRun {
    int begin = 0;
    int end = 0;

    bool IsEmpty() const noexcept { return end <= begin; }
};

/// Moves pixels from the start of `row` to the columns of `run` and clears the others, up to
/// `width`, to transparent.
void MoveInto(ColumnRun run, int width, RowBuffer& row) noexcept;

/// Clears the pixels of `tile` outside `covered`, which lies in it or is empty: all bytes 0.
void ClearAround(const PixelView& view, const Rect& tile, const Rect& covered) noexcept;

/// The rows of one tile, which are read from its top to its bottom.
class TileRows {
public:
    TileRows() = default;
    TileRows(const TileRows&) = delete;
    TileRows& operator=(const TileRows&) = delete;
    virtual ~TileRows() = default;

    /// Reads row `y` of the destination into `row`, transparent where the source has no pixels, and
    /// returns the columns where it has.
    virtual ColumnRun Read(int y, RowBuffer& row) = 0;
};

/// The rows of a source translated by whole pixels.
class ShiftedRows final : public TileRows {
public:
    ShiftedRows(const SpanSource& source, const Rect& tile, int shiftX = 0,
                int shiftY = 0) noexcept;
    ColumnRun Read(int y, RowBuffer& row) override;

private:
    const SpanSource& m_source;
    int m_width;
    int m_shiftY;
    int m_firstColumn;  // of the source
    ColumnRun m_columns;
};

}  // namespace Raster
