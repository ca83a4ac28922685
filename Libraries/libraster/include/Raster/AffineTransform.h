// Affine maps of the plane.

#pragma once

#include "Kernel/Rect.h"
#include "Raster/Export.h"

#include <optional>

namespace Raster {

/// Affine maps of the plane, as a namespace of its own for their parameters.
class RASTER_API AffineTransform {
public:
    struct Point {
        double x;
        double y;

        friend constexpr bool operator==(const Point&, const Point&) noexcept = default;
    };

    /// (x, y) goes to (xx x + xy y + dx, yx x + yy y + dy). The identity by default.
    struct RASTER_API Params {
        double xx = 1;
        double xy = 0;
        double yx = 0;
        double yy = 1;
        double dx = 0;
        double dy = 0;

        static Params Scale(double x, double y) noexcept { return {x, 0, 0, y, 0, 0}; }
        static Params Translate(double x, double y) noexcept { return {1, 0, 0, 1, x, y}; }
        /// Maps `from` onto `to`. Throws std::invalid_argument if `from` is empty or anything is
        /// not finite.
        static Params MapRect(const Kernel::RectT<double>& from, const Kernel::RectT<double>& to);

        Point Map(Point point) const noexcept {
            return {xx * point.x + xy * point.y + dx, yx * point.x + yy * point.y + dy};
        }

        /// The smallest rectangle of whole pixels around the image of `rect`. Edges within 1e-6 of
        /// a whole number are that number; edges are clamped to the range of int. An empty
        /// rectangle for an empty one, and if a mapped corner is NaN.
        Kernel::RectT<int> MapRect(const Kernel::RectT<int>& rect) const noexcept;

        /// The composition that applies `inner` first, then this.
        Params Compose(const Params& inner) const noexcept;

        /// The inverse; empty if the map is singular (determinant 0), or parameters, determinant or
        /// inverse are not finite.
        std::optional<Params> Invert() const noexcept;

        bool IsFinite() const noexcept;
        /// Whether the linear part is diagonal: rows stay rows and columns columns, possibly
        /// mirrored.
        bool IsAxisAligned() const noexcept { return xy == 0 && yx == 0; }

        friend constexpr bool operator==(const Params&, const Params&) noexcept = default;
    };
};

}  // namespace Raster
