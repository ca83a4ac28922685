#include "bitmaps/FloatRepair.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <span>
#include <type_traits>

namespace Raster {

namespace {

bool IsFinite(float value) noexcept {
    return std::isfinite(value);
}

/// The samples of row `y`. Rows are aligned, so they can be read as floats.
template <class Byte>
auto GetSamples(const BasicPixelView<Byte>& view, int y) noexcept {
    using Float = std::conditional_t<std::is_const_v<Byte>, const float, float>;
    return std::span<Float>(reinterpret_cast<Float*>(view.At(0, y)),
                            static_cast<std::size_t>(view.width) * view.format->channelCount);
}

}  // namespace

bool HasFloatSamples(const PixelFormat& format) noexcept {
    return format.sampleSize == sizeof(float);
}

bool HasOnlyFiniteSamples(const ConstPixelView& view) noexcept {
    for (int y = 0; y < view.height; ++y) {
        if (!std::ranges::all_of(GetSamples(view, y), IsFinite)) {
            return false;
        }
    }
    return true;
}

void ClearSamplesThatAreNotFinite(const PixelView& view) noexcept {
    for (int y = 0; y < view.height; ++y) {
        std::ranges::replace_if(GetSamples(view, y), std::not_fn(IsFinite), 0.0F);
    }
}

}  // namespace Raster
