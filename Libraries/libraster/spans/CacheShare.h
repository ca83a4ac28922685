// When it pays to write around the cache.

#pragma once

#include "Raster/PixelView.h"

#include <cstddef>

namespace Raster {

/// Whether a whole picture of that size exceeds CacheShare, whatever part of it is written.
inline bool ExceedsCacheShare(int width, int height, std::size_t pixelSize) noexcept {
    return static_cast<std::size_t>(width) * pixelSize * static_cast<std::size_t>(height) >
           CacheShare;
}
inline bool ExceedsCacheShare(const PixelView& view) noexcept {
    return ExceedsCacheShare(view.width, view.height, view.format->GetPixelSize());
}

}  // namespace Raster
