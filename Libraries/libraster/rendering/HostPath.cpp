#include "Kernel/Dispatch.h"

#include "rendering/SpanTile.h"
#include "spans/TileGrid.h"

#include <vector>

namespace Raster {

namespace {

struct TileJob {
    Rect tile;
    /// For direct conversions: the job's share of its row of tiles, a band of whole scanlines
    /// instead of the tile. Memory bandwidth is best along rows, and threads that write to the same
    /// row contend.
    Rect share;
    const RunContext* context = nullptr;
};

/// Copies without the intermediate, whose round trip is lossy for some formats.
bool CopyResampled(const TileJob& job) {
    const RunContext& context = *job.context;
    const PixelView* const to = context.run.destination->GetView();
    return to != nullptr && context.IsPlain() && context.run.rendering->tally == nullptr &&
           context.resampler->CopyTile(*to, job.tile);
}

/// The paths for a tile, the fastest first.
void RunTile(const TileJob& job) {
    const RunContext& context = *job.context;
    if (job.tile.IsEmpty() || IsAborted(context.run.abort)) {
        return;
    }
    if (context.direct != nullptr) {
        context.direct(context, job.share);
        CountTile(context, job.tile);
    } else if (context.resampler == nullptr) {
        ShiftedRows rows(*context.run.source, job.tile, context.shiftX, context.shiftY);
        SpanTile(context, job.tile, rows).Convert();
    } else if (!CopyResampled(job)) {
        SpanTile(context, job.tile, *context.resampler->OpenTile(job.tile)).Convert();
    }
}

std::vector<TileJob> MakeJobs(const RunContext& context, const Rect& grid) {
    const Rect& rect = context.rect;
    const long long columns = grid.GetWidth();
    std::vector<TileJob> jobs;
    jobs.reserve(static_cast<std::size_t>(columns * grid.GetHeight()));
    for (int row = grid.top; row < grid.bottom; ++row) {
        const auto [top, bottom] = FindTileEdges(row, TileHeight, rect.top, rect.bottom);
        const auto findShare = [&, top = top, height = bottom - top](int column) {
            return top + static_cast<int>(1LL * height * (column - grid.left) / columns);
        };
        for (int column = grid.left; column < grid.right; ++column) {
            const auto [left, right] = FindTileEdges(column, TileWidth, rect.left, rect.right);
            jobs.push_back({{left, top, right, bottom},
                            {rect.left, findShare(column), rect.right, findShare(column + 1)},
                            &context});
        }
    }
    return jobs;
}

}  // namespace

bool IsPossible(const Rendering& rendering) noexcept {
    return !rendering.transform || rendering.transform->Invert();
}

bool AddColours(Rendering& rendering, const ColourConversion& colours) {
    rendering.reader = colours.reader;
    rendering.writer = colours.writer;
    if (colours.stage) {
        rendering.stages.push_back(colours.stage);
    }
    return colours.answer != ColourConversion::Answer::Impossible;
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
