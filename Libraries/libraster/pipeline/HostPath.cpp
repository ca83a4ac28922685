#include "Kernel/Dispatch.h"

#include "pipeline/SpanTile.h"

#include <algorithm>
#include <atomic>
#include <vector>

namespace Raster {

namespace {

struct TileJob {
    Rect tile;
    /// Of this tile and its neighbours to the right: what goes the direct way at once. Empty if it
    /// goes with a tile to the left.
    Rect strip;
    const RunContext* context = nullptr;
};

/// Without the intermediate, along whole strips, since memory is quickest along rows.
void ConvertDirectly(const TileJob& job) {
    const RunContext& context = *job.context;
    if (!job.strip.IsEmpty()) {
        context.direct(context, job.strip);
    }
    CountTile(context, job.tile);
}

/// Without the intermediate, on which not every format keeps all its values.
bool CopyResampled(const TileJob& job) {
    const RunContext& context = *job.context;
    const PixelView* const to = context.run.destination->GetView();
    return to != nullptr && context.IsPlain() && context.run.rendering->tally == nullptr &&
           context.resampler->CopyTile(*to, job.tile);
}

/// The ways to do a tile, the quickest first.
void RunTile(const TileJob& job) {
    const RunContext& context = *job.context;
    if (job.tile.IsEmpty() || IsAborted(context.run.abort)) {
        return;
    }
    if (context.direct != nullptr) {
        ConvertDirectly(job);
    } else if (context.resampler == nullptr) {
        ShiftedRows rows(*context.run.source, job.tile, context.shiftX, context.shiftY);
        SpanTile(context, job.tile, rows).Convert();
    } else if (!CopyResampled(job)) {
        SpanTile(context, job.tile, *context.resampler->OpenTile(job.tile)).Convert();
    }
}

/// The tiles that `rect` touches, numbered on the grid that starts at the destination's origin.
Rect GetTileGrid(const Rect& rect) noexcept {
    const auto roundUp = [](int edge, int size) {
        return edge / size + (edge % size != 0 ? 1 : 0);
    };
    return {rect.left / TileWidth, rect.top / TileHeight, roundUp(rect.right, TileWidth),
            roundUp(rect.bottom, TileHeight)};
}

/// How many tiles side by side one thread converts in one go where there is a direct way: the
/// longer the rows, the better memory keeps pace, as long as every thread gets its turns.
int ChooseStripLength(const Rect& grid) {
    constexpr long long TurnsPerThread = 4;
    const auto tiles = static_cast<long long>(grid.GetWidth()) * grid.GetHeight();
    const auto threads = static_cast<long long>(Kernel::Dispatch::CountThreads());
    return static_cast<int>(
        std::clamp<long long>(tiles / (TurnsPerThread * threads), 1, grid.GetWidth()));
}

/// Of `count` tiles from `column` to the right, as far as they lie in `rect`.
Rect FindArea(const Rect& rect, int column, int row, int count) noexcept {
    // Beyond a rectangle at the end of the range, there are no more integers.
    const auto end = [](int first, long long length, int limit) {
        return static_cast<int>(std::min<long long>(first + length, limit));
    };
    const int left = column * TileWidth;
    const int top = row * TileHeight;
    return {std::max(left, rect.left), std::max(top, rect.top),
            end(left, 1LL * count * TileWidth, rect.right), end(top, TileHeight, rect.bottom)};
}

std::vector<TileJob> MakeJobs(const RunContext& context, const Rect& grid) {
    const int length = ChooseStripLength(grid);
    std::vector<TileJob> jobs;
    jobs.reserve(static_cast<std::size_t>(grid.GetWidth() * grid.GetHeight()));
    for (int row = grid.top; row < grid.bottom; ++row) {
        for (int column = grid.left; column < grid.right; ++column) {
            const Rect tile = FindArea(context.rect, column, row, 1);
            const bool isFirst = (column - grid.left) % length == 0;
            const Rect strip = isFirst ? FindArea(context.rect, column, row, length) : Rect{};
            jobs.push_back({tile, strip, &context});
        }
    }
    return jobs;
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
    const RunContext context = PrepareRun(run, rect);
    const Rect grid = GetTileGrid(rect);
    if (grid.GetWidth() == 1 && grid.GetHeight() == 1) {
        RunTile({rect, rect, &context});
        return;
    }
    std::vector<TileJob> jobs = MakeJobs(context, grid);
    Kernel::Dispatch::DispatchParallelFor(RunTile, jobs.size(), jobs.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
}

}  // namespace Raster
