#include "Kernel/Dispatch.h"
#include "Raster/Rendering.h"

#include "pipeline/Blending.h"
#include "pipeline/Resampler.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>

namespace Raster {

namespace {

/// A picture above this size does not stay in the cache until someone reads it: half of a
/// usual last level.
constexpr std::size_t CacheShare = std::size_t{16} << 20;

/// What all tiles of a run have in common.
struct RunContext {
    HostRun run;
    Rect rect;
    int shiftX = 0;
    int shiftY = 0;
    std::unique_ptr<const Resampler> resampler = nullptr;  // null if pixels are shifted only
    bool isLarge = false;
};

struct TileJob {
    Rect tile;
    const RunContext* context = nullptr;
};

bool IsWhole(double value) noexcept {
    constexpr double Limit = 1 << 30;
    return std::fabs(value) < Limit && value == std::floor(value);
}

bool IsWholeShift(const AffineTransform::Params& transform) noexcept {
    return transform.IsAxisAligned() && transform.xx == 1 && transform.yy == 1 &&
           IsWhole(transform.dx) && IsWhole(transform.dy);
}

bool IsLarge(const PixelView* view) noexcept {
    return view != nullptr && static_cast<std::size_t>(view->width) * view->format->GetPixelSize() *
                                      static_cast<std::size_t>(view->height) >
                                  CacheShare;
}

RunContext Prepare(const HostRun& run, const Rect& rect) {
    RunContext context{run, rect};
    context.isLarge = IsLarge(run.destination->GetView());
    const auto& transform = run.rendering->transform;
    if (!transform) {
        return context;
    }
    if (IsWholeShift(*transform)) {
        context.shiftX = static_cast<int>(transform->dx);
        context.shiftY = static_cast<int>(transform->dy);
    } else {
        context.resampler = Resampler::Create(*run.source, *transform->Invert(),
                                              run.rendering->sampler, rect, run.abort);
    }
    return context;
}

/// Whether the destination's pixels become the source's, and nothing else happens to them.
bool IsPlain(const RunContext& context) noexcept {
    const Rendering& rendering = *context.run.rendering;
    return context.run.mask == nullptr && rendering.stages.empty() &&
           rendering.blend == Blend::Replace;
}

/// The part of `tile` where the source, which is shifted only, has pixels.
Rect FindCovered(const RunContext& context, const Rect& tile) noexcept {
    const auto move = [](int edge, int by, long long limit) {
        return static_cast<int>(std::clamp<long long>(static_cast<long long>(edge) + by, 0, limit));
    };
    const SpanSource& source = *context.run.source;
    const Rect covered{move(0, context.shiftX, tile.right), move(0, context.shiftY, tile.bottom),
                       move(source.GetWidth(), context.shiftX, tile.right),
                       move(source.GetHeight(), context.shiftY, tile.bottom)};
    return covered.Intersect(tile);
}

/// Adds what one tile has seen to the sum of all.
void AddUp(const CopyTally& tile, CopyTally& sum) noexcept {
    const auto add = [](std::uint64_t& total, std::uint64_t count) {
        std::atomic_ref(total).fetch_add(count, std::memory_order_relaxed);
    };
    add(sum.transparent, tile.transparent);
    add(sum.translucent, tile.translucent);
    add(sum.opaque, tile.opaque);
}

void Count(const RowBuffer& row, ColumnRun run, CopyTally& tally) noexcept {
    for (int column = run.begin; column < run.end; ++column) {
        const float alpha = row.At(column)[3];
        ++(alpha >= 1 ? tally.opaque : alpha > 0 ? tally.translucent : tally.transparent);
    }
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

/// From rows in memory to the same place in the destination, or the other way round.
bool ConvertInPlace(const RunContext& context, const Rect& tile) {
    const HostRun& run = context.run;
    const ConstPixelView* const from = run.source->GetView();
    const PixelView* const to = run.destination->GetView();
    return (from != nullptr && run.destination->ConvertFrom(*from, tile, context.isLarge)) ||
           (to != nullptr && run.source->ConvertInto(*to, tile, context.isLarge));
}

/// From rows in memory to rows in memory elsewhere; what the source does not cover becomes 0.
bool ConvertShifted(const RunContext& context, const Rect& tile, const Rect& covered) {
    const ConstPixelView* const from = context.run.source->GetView();
    const PixelView* const to = context.run.destination->GetView();
    if (from == nullptr || to == nullptr) {
        return false;
    }
    if (!covered.IsEmpty()) {
        PixelView part = *to;
        part.pixels = to->At(covered.left, covered.top);
        ConstPixelView source = *from;
        source.pixels = from->At(covered.left - context.shiftX, covered.top - context.shiftY);
        const Rect block{0, 0, covered.right - covered.left, covered.bottom - covered.top};
        if (!ViewTarget(part).ConvertFrom(source, block, context.isLarge)) {
            return false;
        }
    }
    ClearAround(*to, tile, covered);
    return true;
}

/// Without the intermediate, on which not every format keeps all its values.
bool TryDirect(const RunContext& context, const Rect& tile) {
    if (!IsPlain(context)) {
        return false;
    }
    if (context.resampler) {
        const PixelView* const to = context.run.destination->GetView();
        return to != nullptr && context.run.rendering->tally == nullptr &&
               context.resampler->CopyTile(*to, tile);
    }
    const Rect covered = FindCovered(context, tile);
    const bool isInPlace = context.shiftX == 0 && context.shiftY == 0 && covered == tile;
    const bool isDone =
        (isInPlace && ConvertInPlace(context, tile)) || ConvertShifted(context, tile, covered);
    if (isDone) {
        CountTile(context, tile);
    }
    return isDone;
}

/// One tile by way of the intermediate.
class SpanTile {
public:
    SpanTile(const RunContext& context, const Rect& tile, TileRows& source) noexcept
        : m_run(context.run),
          m_rendering(*context.run.rendering),
          m_tile(tile),
          m_source(source),
          m_width(static_cast<int>(tile.GetWidth())) {}

    void Convert() {
        for (int y = m_tile.top; y < m_tile.bottom && !IsAborted(m_run.abort); ++y) {
            const ColumnRun covered = m_source.Read(y, m_row);
            if (m_rendering.tally != nullptr) {
                Count(m_row, covered, m_tally);
            }
            ApplyStages(covered);
            if (m_rendering.blend == Blend::Replace && m_run.mask == nullptr) {
                Write(y, {0, m_width}, m_row);
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

private:
    void ApplyStages(ColumnRun covered) {
        if (m_rendering.stages.empty() || covered.IsEmpty()) {
            return;
        }
        for (const auto& stage : m_rendering.stages) {
            stage->Apply(m_row.rgba, static_cast<std::size_t>(m_width));
        }
        std::fill(m_row.rgba, m_row.At(covered.begin), 0.0F);
        std::fill(m_row.At(covered.end), m_row.At(m_width), 0.0F);
    }

    void BlendInto(int y, ColumnRun columns) {
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

    /// Pixels that stay are not written: not every format keeps all its values on the way through
    /// the intermediate and back.
    void WriteChanged(int y, ColumnRun columns, const RowBuffer& before, const RowBuffer& after) {
        const auto isSame = [&](int column) {  // to the bit: even what is no number may stay
            using Bits = std::array<std::uint32_t, 4>;
            Bits a;
            Bits b;
            std::memcpy(a.data(), before.At(column), sizeof a);
            std::memcpy(b.data(), after.At(column), sizeof b);
            return a == b;
        };
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

    void Write(int y, ColumnRun columns, const RowBuffer& row) {
        const auto count = static_cast<std::size_t>(columns.end - columns.begin);
        const float* from = row.At(columns.begin);
        RowBuffer aligned;
        if (columns.begin % 4 != 0) {  // writers read from aligned memory only
            std::copy_n(from, count * 4, aligned.rgba);
            from = aligned.rgba;
        }
        m_run.destination->Write(m_tile.left + columns.begin, y, count, from);
    }

    const HostRun& m_run;
    const Rendering& m_rendering;
    Rect m_tile;
    TileRows& m_source;
    int m_width;
    CopyTally m_tally;
    RowBuffer m_row;
};

/// The ways to do a tile, the quickest first.
void RunTile(const TileJob& job) {
    const RunContext& context = *job.context;
    if (job.tile.IsEmpty() || IsAborted(context.run.abort) || TryDirect(context, job.tile)) {
        return;
    }
    if (context.resampler) {
        SpanTile(context, job.tile, *context.resampler->OpenTile(job.tile)).Convert();
        return;
    }
    ShiftedRows rows(*context.run.source, job.tile, context.shiftX, context.shiftY);
    SpanTile(context, job.tile, rows).Convert();
}

/// The tiles that `rect` touches, numbered on the grid that starts at the destination's origin.
Rect GetTileGrid(const Rect& rect) noexcept {
    const auto roundUp = [](int edge, int size) {
        return edge / size + (edge % size != 0 ? 1 : 0);
    };
    return {rect.left / TileWidth, rect.top / TileHeight, roundUp(rect.right, TileWidth),
            roundUp(rect.bottom, TileHeight)};
}

TileJob MakeJob(const RunContext& context, int column, int row) noexcept {
    const int left = column * TileWidth;
    const int top = row * TileHeight;
    // Deliberate: the far edges come from the rectangle where adding to the near ones would
    // overflow.
    const Rect& rect = context.rect;
    const int right = rect.right - left > TileWidth ? left + TileWidth : rect.right;
    const int bottom = rect.bottom - top > TileHeight ? top + TileHeight : rect.bottom;
    return {{std::max(left, rect.left), std::max(top, rect.top), right, bottom}, &context};
}

}  // namespace

bool IsPossible(const Rendering& rendering) noexcept {
    return !rendering.transform || rendering.transform->Invert();
}

bool IsAborted(const bool* abort) noexcept {
    // The reference reads only, but its type knows no constant objects.
    return abort != nullptr &&
           std::atomic_ref(*const_cast<bool*>(abort)).load(std::memory_order_relaxed);
}

void RunHostPath(const HostRun& run, const Rect& rect) {
    if (rect.IsEmpty()) {
        return;
    }
    const RunContext context = Prepare(run, rect);
    const Rect grid = GetTileGrid(rect);
    if (grid.GetWidth() == 1 && grid.GetHeight() == 1) {
        RunTile(MakeJob(context, grid.left, grid.top));
        return;
    }
    std::vector<TileJob> jobs;
    jobs.reserve(static_cast<std::size_t>(grid.GetWidth() * grid.GetHeight()));
    for (int row = grid.top; row < grid.bottom; ++row) {
        for (int column = grid.left; column < grid.right; ++column) {
            jobs.push_back(MakeJob(context, column, row));
        }
    }
    Kernel::Dispatch::DispatchParallelFor(RunTile, jobs.size(), jobs.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
}

}  // namespace Raster
