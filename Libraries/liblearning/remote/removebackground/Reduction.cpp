#include "remote/removebackground/Reduction.h"

#include <cstdint>

namespace Learning {

Reduction ReduceForUpload(int width, int height) noexcept {
    constexpr std::int64_t MaximumPixels = 50'000'000;
    Reduction reduction{width, height, 1};
    while (std::int64_t{reduction.width} * reduction.height > MaximumPixels) {
        reduction.factor *= 2;
        reduction.width = (reduction.width - 1) / 2 + 1;
        reduction.height = (reduction.height - 1) / 2 + 1;
    }
    return reduction;
}

}  // namespace Learning
