#include "resampling/Resampler.h"

#include "resampling/AffineResampler.h"
#include "resampling/AxisResampler.h"
#include "resampling/NearestResampler.h"

#include <cmath>

namespace Raster {

namespace {

/// Whether each pixel of one side is exactly one of the other: mirrors and quarter turns.
bool IsPermutation(const AffineTransform::Params& map) noexcept {
    const auto isUnit = [](double a, double b) {
        return (a == 0 && std::fabs(b) == 1) || (std::fabs(a) == 1 && b == 0);
    };
    return isUnit(map.xx, map.xy) && isUnit(map.yx, map.yy) && map.dx == std::floor(map.dx) &&
           map.dy == std::floor(map.dy);
}

}  // namespace

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
