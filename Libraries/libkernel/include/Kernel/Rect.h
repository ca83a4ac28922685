// Axis-aligned rectangles.

#pragma once

#include <algorithm>
#include <type_traits>

namespace Kernel {

/// A half-open rectangle: left and top are included, right and bottom are not. Empty if right is
/// not greater than left or bottom not greater than top; all edges are 0 by default.
template <class T>
struct RectT {
    T left{};
    T top{};
    T right{};
    T bottom{};

    static_assert(std::is_floating_point_v<T> || sizeof(T) < sizeof(long long));
    // Wide enough for the distance between any two edges.
    using Extent = std::conditional_t<std::is_integral_v<T>, long long, T>;

    constexpr bool IsEmpty() const noexcept { return right <= left || bottom <= top; }
    /// 0 if right is less than left; never overflows.
    constexpr Extent GetWidth() const noexcept {
        return std::max(Extent{}, static_cast<Extent>(right) - static_cast<Extent>(left));
    }
    constexpr Extent GetHeight() const noexcept {
        return std::max(Extent{}, static_cast<Extent>(bottom) - static_cast<Extent>(top));
    }

    /// The intersection; RectT{} if it is empty.
    constexpr RectT Intersect(const RectT& other) const noexcept {
        const RectT both{std::max(left, other.left), std::max(top, other.top),
                         std::min(right, other.right), std::min(bottom, other.bottom)};
        return both.IsEmpty() ? RectT{} : both;
    }

    friend constexpr bool operator==(const RectT&, const RectT&) noexcept = default;
};

}  // namespace Kernel
