#include "Kernel/Dispatch.h"
#include "Raster/Compositing.h"
#include "Raster/Pipeline.h"

#include "rendering/AlphaTally.h"
#include "spans/TileGrid.h"

#include <algorithm>
#include <vector>

namespace Raster {

namespace {

/// A band of rows, and the counts of its pixels.
struct TallyJob {
    Rect band;
    const ConstPixelView* pixels;
    const bool* abort;
    CopyTally tally;
};

void CountBand(TallyJob& job) {
    // In pieces, so that an abort takes effect at once.
    constexpr int Step = 16;
    for (int y = job.band.top; y < job.band.bottom && !IsAborted(job.abort); y += Step) {
        const Rect piece{job.band.left, y, job.band.right, std::min(y + Step, job.band.bottom)};
        CountPixels(*job.pixels, piece, job.tally);
    }
}

}  // namespace

bool TallyAlpha(const DynamicBitmap& source, const Rect& rect, CopyTally& tally, bool* abort) {
    source.SyncHostCache(nullptr, false, abort);
    const ConstPixelView pixels = source.GetHostView();
    const Rect area = rect.Intersect(source.GetBounds());
    const Rect grid = area.IsEmpty() ? Rect{} : GetTileGrid(area);
    std::vector<TallyJob> jobs;
    for (int row = grid.top; row < grid.bottom; ++row) {
        const auto [top, bottom] = FindTileEdges(row, TileHeight, area.top, area.bottom);
        jobs.push_back({{area.left, top, area.right, bottom}, &pixels, abort, {}});
    }
    Kernel::Dispatch::DispatchParallelFor(CountBand, jobs.size(), jobs.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
    if (IsAborted(abort)) {
        return false;
    }
    tally = {};
    for (const TallyJob& job : jobs) {
        tally.transparent += job.tally.transparent;
        tally.translucent += job.tally.translucent;
        tally.opaque += job.tally.opaque;
    }
    return true;
}

bool SetAlpha(DynamicBitmap& picture, const DynamicBitmap& alpha, bool* abort) {
    if (picture.GetBounds() != alpha.GetBounds()) {
        return false;
    }
    Rendering rendering;
    rendering.blend = Blend::JoinAlpha;
    return Pipeline<DynamicBitmap, DynamicBitmap>::Run(picture, alpha, nullptr, picture.GetBounds(),
                                                       rendering, abort);
}

}  // namespace Raster
