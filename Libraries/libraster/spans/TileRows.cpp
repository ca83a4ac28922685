#include "spans/TileRows.h"

#include <algorithm>
#include <cstring>

namespace Raster {

void MoveInto(ColumnRun run, int width, RowBuffer& row) noexcept {
    // Readers and filters write to the start of a buffer, which is aligned.
    const auto count = static_cast<std::size_t>(run.end - run.begin);
    if (run.begin > 0) {
        std::memmove(row.At(run.begin), row.rgba, count * 4 * sizeof(float));
        std::fill(row.rgba, row.At(run.begin), 0.0F);
    }
    std::fill(row.At(run.end), row.At(width), 0.0F);
}

void ClearAround(const PixelView& view, const Rect& tile, const Rect& covered) noexcept {
    const auto clear = [&view](int y, int begin, int end) {
        if (begin < end) {
            std::memset(view.At(begin, y), 0,
                        static_cast<std::size_t>(end - begin) * view.format->GetPixelSize());
        }
    };
    for (int y = tile.top; y < tile.bottom; ++y) {
        const bool isCovered = y >= covered.top && y < covered.bottom && !covered.IsEmpty();
        clear(y, tile.left, isCovered ? covered.left : tile.right);
        clear(y, isCovered ? covered.right : tile.right, tile.right);
    }
}

ShiftedRows::ShiftedRows(const SpanSource& source, const Rect& tile, int shiftX,
                         int shiftY) noexcept
    : m_source(source), m_width(static_cast<int>(tile.GetWidth())), m_shiftY(shiftY) {
    const long long left = static_cast<long long>(tile.left) - shiftX;
    const long long begin = std::clamp<long long>(-left, 0, m_width);
    const long long end = std::clamp<long long>(source.GetWidth() - left, begin, m_width);
    m_columns = {static_cast<int>(begin), static_cast<int>(end)};
    m_firstColumn = m_columns.IsEmpty() ? 0 : static_cast<int>(left + begin);
}

ColumnRun ShiftedRows::Read(int y, RowBuffer& row) {
    const long long from = static_cast<long long>(y) - m_shiftY;
    const bool isInside = !m_columns.IsEmpty() && from >= 0 && from < m_source.GetHeight();
    const ColumnRun run = isInside ? m_columns : ColumnRun{};
    if (isInside) {
        m_source.Read(m_firstColumn, static_cast<int>(from),
                      static_cast<std::size_t>(run.end - run.begin), row.rgba);
    }
    MoveInto(run, m_width, row);
    return run;
}

}  // namespace Raster
