#include "Raster/Picture.h"

#include <stdexcept>

namespace Raster {

bool Picture::IsSizeSupported(std::uint64_t width, std::uint64_t height) noexcept {
    return width >= 1 && height >= 1 && width <= MaximumSide && height <= MaximumSide &&
           width * height <= MaximumPixelCount;
}

Picture::Picture(int width, int height) : m_width(width), m_height(height) {
    // A negative side becomes a huge one.
    if (!IsSizeSupported(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height))) {
        throw std::length_error("a picture of this size is not supported");
    }
    // Not set, so that a header that promises much costs no memory until its pixels arrive.
    m_pixels = std::make_unique_for_overwrite<std::uint8_t[]>(GetRowSize() *
                                                              static_cast<std::size_t>(height));
}

}  // namespace Raster
