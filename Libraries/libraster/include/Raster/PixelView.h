// Views of pixels in host memory.

#pragma once

#include "Kernel/Rect.h"
#include "Raster/PixelFormat.h"

#include <cstddef>
#include <type_traits>

namespace Raster {

using Rect = Kernel::RectT<int>;

/// The rectangle that means "no pixels": every edge is the marker.
inline constexpr int EmptyMarker = -2'147'483'647;
inline constexpr Rect EmptyRect{EmptyMarker, EmptyMarker, EmptyMarker, EmptyMarker};

/// A non-owning view of rows of pixels in host memory.
template <class Byte>
struct BasicPixelView {
    Byte* pixels = nullptr;     // of the first row
    std::ptrdiff_t stride = 0;  // bytes from row to row
    int width = 0;
    int height = 0;
    const PixelFormat* format = nullptr;

    /// The pixel at (x, y), which is not checked.
    Byte* At(int x, int y) const noexcept {
        return pixels + y * stride +
               static_cast<std::ptrdiff_t>(x) * static_cast<std::ptrdiff_t>(format->GetPixelSize());
    }
    Rect GetBounds() const noexcept { return {0, 0, width, height}; }

    /// A writable view converts to a read-only one.
    operator BasicPixelView<const Byte>() const noexcept  // NOLINT(google-explicit-constructor)
        requires(!std::is_const_v<Byte>) {
        return {pixels, stride, width, height, format};
    }
};
using PixelView = BasicPixelView<std::byte>;
using ConstPixelView = BasicPixelView<const std::byte>;

}  // namespace Raster
