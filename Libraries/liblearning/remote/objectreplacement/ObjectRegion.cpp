#include "Learning/ObjectRegion.h"

#include <algorithm>
#include <cstdint>

namespace Learning {

namespace {

constexpr std::int64_t LongestRegionSide = 1504;
constexpr std::int64_t ShortestRegionSide = 512;

/// The extent of a region in one direction.
struct Extent {
    std::int64_t start;
    std::int64_t end;

    std::int64_t GetLength() const noexcept { return end - start; }

    /// Half of it. Deliberate: the division cuts towards zero, on both sides of it.
    Extent Halve() const noexcept { return {start / 2, (end + 1) / 2}; }

    Extent Widen() const noexcept {
        if (GetLength() >= ShortestRegionSide) {
            return *this;
        }
        const std::int64_t widened = start - (ShortestRegionSide - GetLength()) / 2;
        return {widened, widened + ShortestRegionSide};
    }
};

}  // namespace

ObjectRegion CutObjectRegion(const Kernel::RectT<int>& box,
                             const Kernel::RectT<int>& bounds) noexcept {
    const std::int64_t margin = (std::max(box.GetWidth(), box.GetHeight()) + 1) / 2;
    Extent x{std::max<std::int64_t>(box.left - margin, bounds.left),
             std::min<std::int64_t>(box.right + margin, bounds.right)};
    Extent y{std::max<std::int64_t>(box.top - margin, bounds.top),
             std::min<std::int64_t>(box.bottom + margin, bounds.bottom)};
    if (x.GetLength() <= 0 || y.GetLength() <= 0) {
        x = y = {0, 0};
    }
    double factor = 1;
    while (std::max(x.GetLength(), y.GetLength()) > LongestRegionSide) {
        factor *= 2;
        x = x.Halve();
        y = y.Halve();
    }
    x = x.Widen();
    y = y.Widen();
    return {static_cast<int>(x.GetLength()),
            static_cast<int>(y.GetLength()),
            {factor, 0, 0, factor, static_cast<double>(x.start) * factor,
             static_cast<double>(y.start) * factor}};
}

}  // namespace Learning
