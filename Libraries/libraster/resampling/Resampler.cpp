#include "resampling/Resampler.h"

#include "Kernel/Dispatch.h"
#include "Raster/AbortFlag.h"

#include "resampling/AffineResampler.h"
#include "resampling/AxisResampler.h"
#include "resampling/NearestResampler.h"
#include "spans/TileGrid.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace Raster {

namespace {

/// Whether the map permutes pixels: flips, rotations by multiples of 90 degrees and translations by
/// whole pixels.
bool IsPermutation(const AffineTransform::Params& map) noexcept {
    const auto isUnit = [](double a, double b) {
        return (a == 0 && std::fabs(b) == 1) || (std::fabs(a) == 1 && b == 0);
    };
    return isUnit(map.xx, map.xy) && isUnit(map.yx, map.yy) && map.dx == std::floor(map.dx) &&
           map.dy == std::floor(map.dy);
}

struct FillJob {
    const Resampler* resampler;
    const PixelView* picture;
    Rect tile;
    const bool* abort;
};

void FillTile(const FillJob& job) {
    if (IsAborted(job.abort)) {
        return;
    }
    const std::unique_ptr<TileRows> rows = job.resampler->OpenTile(job.tile);
    const auto rowSize = static_cast<std::size_t>(job.tile.GetWidth()) * 4 * sizeof(float);
    RowBuffer row;
    for (int y = job.tile.top; y < job.tile.bottom; ++y) {
        rows->Read(y, row);
        std::memcpy(job.picture->At(job.tile.left, y), row.rgba, rowSize);
    }
}

}  // namespace

void Resampler::Fill(const PixelView& picture, const bool* abort) const {
    const Rect grid = GetTileGrid(picture.GetBounds());
    std::vector<FillJob> jobs;
    for (int row = grid.top; row < grid.bottom; ++row) {
        const auto [top, bottom] = FindTileEdges(row, TileHeight, 0, picture.height);
        for (int column = grid.left; column < grid.right; ++column) {
            const auto [left, right] = FindTileEdges(column, TileWidth, 0, picture.width);
            jobs.push_back({this, &picture, {left, top, right, bottom}, abort});
        }
    }
    Kernel::Dispatch::DispatchParallelFor(FillTile, jobs.size(), jobs.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
}

bool Resampler::CopyTile(const PixelView& /*target*/, const Rect& /*tile*/) const {
    return false;
}

std::unique_ptr<const Resampler> Resampler::Create(const SpanSource& source,
                                                   const AffineTransform::Params& inverse,
                                                   Sampler sampler, const Rect& rect,
                                                   const bool* abort) {
    if (sampler == Sampler::Nearest || IsPermutation(inverse)) {
        return std::make_unique<NearestResampler>(source, inverse);
    }
    if (inverse.IsAxisAligned()) {
        return std::make_unique<AxisResampler>(source, AxisMap{inverse.xx, inverse.dx},
                                               AxisMap{inverse.yy, inverse.dy}, sampler, rect);
    }
    return std::make_unique<AffineResampler>(source, inverse, sampler, rect, abort);
}

}  // namespace Raster
