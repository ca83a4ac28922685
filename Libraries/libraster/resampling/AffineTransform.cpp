#include "Raster/AffineTransform.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Raster {

namespace {

/// An edge that is closer than this to a whole number is rounded to it: above the rounding error of
/// mapped edges, below a visible difference.
constexpr double Tolerance = 1e-6;

double SnapToInteger(double edge, double whole) noexcept {
    const double nearest = std::round(edge);
    return std::fabs(edge - nearest) < Tolerance ? nearest : whole;
}

int ToInt(double value) noexcept {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp(value, double{Limits::min()}, double{Limits::max()}));
}

}  // namespace

AffineTransform::Params AffineTransform::Params::MapRect(const Kernel::RectT<double>& from,
                                                         const Kernel::RectT<double>& to) {
    Params params;
    params.xx = (to.right - to.left) / (from.right - from.left);
    params.yy = (to.bottom - to.top) / (from.bottom - from.top);
    params.dx = to.left - from.left * params.xx;
    params.dy = to.top - from.top * params.yy;
    if (from.IsEmpty() || !params.IsFinite() || !std::isfinite(to.right + to.bottom) ||
        !std::isfinite(from.right + from.bottom)) {
        throw std::invalid_argument("A map needs finite rectangles, from one that is not empty");
    }
    return params;
}

Kernel::RectT<int> AffineTransform::Params::MapRect(const Kernel::RectT<int>& rect) const noexcept {
    if (rect.IsEmpty()) {
        return {};
    }
    Kernel::RectT<double> image{HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    for (const int x : {rect.left, rect.right}) {
        for (const int y : {rect.top, rect.bottom}) {
            const Point corner = Map({double{1} * x, double{1} * y});
            if (std::isnan(corner.x) || std::isnan(corner.y)) {
                return {};
            }
            image = {std::min(image.left, corner.x), std::min(image.top, corner.y),
                     std::max(image.right, corner.x), std::max(image.bottom, corner.y)};
        }
    }
    return {ToInt(SnapToInteger(image.left, std::floor(image.left))),
            ToInt(SnapToInteger(image.top, std::floor(image.top))),
            ToInt(SnapToInteger(image.right, std::ceil(image.right))),
            ToInt(SnapToInteger(image.bottom, std::ceil(image.bottom)))};
}

AffineTransform::Params AffineTransform::Params::Compose(const Params& inner) const noexcept {
    const Point origin = Map({inner.dx, inner.dy});
    return {xx * inner.xx + xy * inner.yx,
            xx * inner.xy + xy * inner.yy,
            yx * inner.xx + yy * inner.yx,
            yx * inner.xy + yy * inner.yy,
            origin.x,
            origin.y};
}

std::optional<AffineTransform::Params> AffineTransform::Params::Invert() const noexcept {
    const double determinant = xx * yy - xy * yx;
    if (!IsFinite() || !std::isfinite(determinant) || determinant == 0) {
        return std::nullopt;
    }
    Params inverse{yy / determinant, -xy / determinant, -yx / determinant, xx / determinant, 0, 0};
    if (IsAxisAligned()) {  // one rounding less, so that edges map exactly to edges
        inverse = {1 / xx, 0, 0, 1 / yy, 0, 0};
    } else if (xx == 0 && yy == 0) {
        inverse = {0, 1 / yx, 1 / xy, 0, 0, 0};
    }
    const Point origin = inverse.Map({dx, dy});
    inverse.dx = -origin.x;
    inverse.dy = -origin.y;
    return inverse.IsFinite() ? std::optional(inverse) : std::nullopt;
}

bool AffineTransform::Params::IsFinite() const noexcept {
    return std::isfinite(xx) && std::isfinite(xy) && std::isfinite(yx) && std::isfinite(yy) &&
           std::isfinite(dx) && std::isfinite(dy);
}

}  // namespace Raster
