#include "rendering/SpanTile.h"

#include "rendering/AlphaTally.h"
#include "rendering/Blending.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace Raster {

namespace {

/// Adds the tally of a tile to that of the run, atomically.
void AddUp(const CopyTally& tile, CopyTally& sum) noexcept {
    const auto add = [](std::uint64_t& total, std::uint64_t count) {
        std::atomic_ref(total).fetch_add(count, std::memory_order_relaxed);
    };
    add(sum.transparent, tile.transparent);
    add(sum.translucent, tile.translucent);
    add(sum.opaque, tile.opaque);
}

void Count(const RowBuffer& row, ColumnRun run, CopyTally& tally) noexcept {
    if (!run.IsEmpty()) {
        CountSpan(row.At(run.begin), static_cast<std::size_t>(run.end - run.begin), tally);
    }
}

/// Compares bits, so that NaN equals itself.
bool IsSame(const float* a, const float* b) noexcept {
    return std::memcmp(static_cast<const void*>(a), static_cast<const void*>(b),
                       4 * sizeof(float)) == 0;
}

}  // namespace

SpanTile::SpanTile(const RunContext& context, const Rect& tile, TileRows& source) noexcept
    : m_run(context.run),
      m_rendering(*context.run.rendering),
      m_tile(tile),
      m_source(source),
      m_width(static_cast<int>(tile.GetWidth())) {}

void SpanTile::Convert() {
    for (int y = m_tile.top; y < m_tile.bottom && !IsAborted(m_run.abort); ++y) {
        const ColumnRun covered = m_source.Read(y, m_row);
        if (m_rendering.tally != nullptr) {
            Count(m_row, covered, m_tally);
        }
        ApplyStages(covered);
        if (m_rendering.blend == Blend::Replace && m_run.mask == nullptr) {
            WriteReplaced(y, covered);
        } else if (m_rendering.blend == Blend::Over) {
            BlendInto(y, covered);
        } else {
            BlendInto(y, {0, m_width});
        }
    }
    if (m_rendering.tally != nullptr) {
        AddUp(m_tally, *m_rendering.tally);
    }
}

void SpanTile::ApplyStages(ColumnRun covered) {
    if (m_rendering.stages.empty() || covered.IsEmpty()) {
        return;
    }
    for (const auto& stage : m_rendering.stages) {
        stage->Apply(m_row.rgba, static_cast<std::size_t>(m_width));
    }
    std::fill(m_row.rgba, m_row.At(covered.begin), 0.0F);
    std::fill(m_row.At(covered.end), m_row.At(m_width), 0.0F);
}

/// Pixels that the source does not cover become all bytes 0, which is not the transparent black of
/// every format.
void SpanTile::WriteReplaced(int y, ColumnRun covered) {
    const PixelView* const view = m_run.destination->GetView();
    if (view == nullptr) {
        Write(y, {0, m_width}, m_row);
        return;
    }
    if (!covered.IsEmpty()) {
        Write(y, covered, m_row);
    }
    const Rect row{m_tile.left, y, m_tile.right, y + 1};
    ClearAround(*view, row, {m_tile.left + covered.begin, y, m_tile.left + covered.end, y + 1});
}

void SpanTile::BlendInto(int y, ColumnRun columns) {
    if (columns.IsEmpty()) {
        return;
    }
    RowBuffer before;
    const auto count = static_cast<std::size_t>(m_width);
    m_run.destination->Read(m_tile.left, y, count, before.rgba);
    RowBuffer after = before;
    RowBuffer mask;
    if (m_run.mask != nullptr) {
        ShiftedRows(*m_run.mask, m_tile).Read(y, mask);
    }
    BlendSpan(m_rendering.blend, m_row.rgba, m_run.mask != nullptr ? mask.rgba : nullptr,
              m_rendering.weight, after.rgba, count);
    WriteChanged(y, columns, before, after);
}

/// Unchanged pixels are not written, since the round trip through the intermediate is lossy for
/// some formats.
void SpanTile::WriteChanged(int y, ColumnRun columns, const RowBuffer& before,
                            const RowBuffer& after) {
    const auto isSame = [&](int column) { return IsSame(before.At(column), after.At(column)); };
    for (int begin = columns.begin; begin < columns.end;) {
        if (isSame(begin)) {
            ++begin;
            continue;
        }
        int end = begin + 1;
        while (end < columns.end && !isSame(end)) {
            ++end;
        }
        Write(y, {begin, end}, after);
        begin = end;
    }
}

void SpanTile::Write(int y, ColumnRun columns, const RowBuffer& row) {
    const auto count = static_cast<std::size_t>(columns.end - columns.begin);
    const float* from = row.At(columns.begin);
    RowBuffer aligned;
    if (columns.begin % 4 != 0) {  // a SpanWriter needs aligned memory
        std::copy_n(from, count * 4, aligned.rgba);
        from = aligned.rgba;
    }
    m_run.destination->Write(m_tile.left + columns.begin, y, count, from);
}

void CountTile(const RunContext& context, const Rect& tile) {
    CopyTally* const sum = context.run.rendering->tally;
    if (sum == nullptr) {
        return;
    }
    ShiftedRows rows(*context.run.source, tile, context.shiftX, context.shiftY);
    CopyTally tally;
    RowBuffer row;
    for (int y = tile.top; y < tile.bottom; ++y) {
        Count(row, rows.Read(y, row), tally);
    }
    AddUp(tally, *sum);
}

}  // namespace Raster
