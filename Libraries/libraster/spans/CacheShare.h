// When non-temporal stores, which bypass the cache, are faster.

#pragma once

#include "Raster/PixelView.h"

#include <cstddef>

namespace Raster {

/// A picture of more bytes is evicted before it is read: half of a usual last-level cache.
inline constexpr std::size_t CacheShare = std::size_t{16} << 20;

/// Whether a whole picture of that size exceeds it, whatever part of it is written.
inline bool ExceedsCacheShare(int width, int height, std::size_t pixelSize) noexcept {
    return static_cast<std::size_t>(width) * pixelSize * static_cast<std::size_t>(height) >
           CacheShare;
}
inline bool ExceedsCacheShare(const PixelView& view) noexcept {
    return ExceedsCacheShare(view.width, view.height, view.format->GetPixelSize());
}

}  // namespace Raster
