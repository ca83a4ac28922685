#include "resampling/MapShape.h"

#include <algorithm>
#include <cmath>

namespace Raster {

namespace {

using Params = AffineTransform::Params;

constexpr double ShapeTolerance = 1e-3;

/// Moves `straight`, whose linear part is set, so that both maps agree on the picture's centre.
Params AlignCentres(Params straight, const Params& map, double width, double height) noexcept {
    // The difference of the two, so that what is equal in both is not rounded.
    straight.dx = map.dx + ((map.xx - straight.xx) * width + (map.xy - straight.xy) * height) / 2;
    straight.dy = map.dy + ((map.yx - straight.yx) * width + (map.yy - straight.yy) * height) / 2;
    return straight;
}

/// Whether both maps take the corners of the picture to the same places.
bool IsClose(const Params& a, const Params& b, double width, double height) noexcept {
    for (const AffineTransform::Point corner :
         {AffineTransform::Point{0, 0}, {width, 0}, {0, height}, {width, height}}) {
        const double right = (a.xx - b.xx) * corner.x + (a.xy - b.xy) * corner.y + (a.dx - b.dx);
        const double down = (a.yx - b.yx) * corner.x + (a.yy - b.yy) * corner.y + (a.dy - b.dy);
        if (!(std::max(std::fabs(right), std::fabs(down)) <= ShapeTolerance)) {
            return false;
        }
    }
    return true;
}

Params RoundToPlacement(const Params& map, double width, double height) noexcept {
    Params whole{
        std::round(map.xx), std::round(map.xy), std::round(map.yx), std::round(map.yy), 0, 0};
    whole = AlignCentres(whole, map, width, height);
    whole.dx = std::round(whole.dx);
    whole.dy = std::round(whole.dy);
    return whole;
}

bool IsQuarterTurn(const Params& map) noexcept {
    const auto isUnit = [](double a, double b) {
        return (a == 0 && std::fabs(b) == 1) || (std::fabs(a) == 1 && b == 0);
    };
    return isUnit(map.xx, map.xy) && isUnit(map.yx, map.yy) && isUnit(map.xx, map.yx);
}

}  // namespace

std::optional<MapShape> FindShape(const Params& map, int width, int height) noexcept {
    const auto inverse = map.Invert();
    if (!inverse) {
        return std::nullopt;
    }
    const auto accept = [&](MapShape::Kind kind,
                            const Params& straight) -> std::optional<MapShape> {
        const auto back = straight.Invert();
        const bool isClose = back && IsClose(map, straight, width, height);
        return isClose ? std::optional(MapShape{kind, straight, *back}) : std::nullopt;
    };
    const Params whole = RoundToPlacement(map, width, height);
    if (IsQuarterTurn(whole)) {
        if (const auto placement = accept(MapShape::Kind::Placement, whole)) {
            return placement;
        }
    }
    const Params upright = AlignCentres({map.xx, 0, 0, map.yy, 0, 0}, map, width, height);
    if (const auto shape = accept(MapShape::Kind::Upright, upright)) {
        return shape;
    }
    const Params swapped = AlignCentres({0, map.xy, map.yx, 0, 0, 0}, map, width, height);
    if (const auto shape = accept(MapShape::Kind::Swapped, swapped)) {
        return shape;
    }
    return MapShape{MapShape::Kind::General, map, *inverse};
}

}  // namespace Raster
