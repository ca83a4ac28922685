// Copies between the packed pixels of a row and bitmaps.

#pragma once

#include "Raster/PixelAccessor.h"

#include "PixelRows.h"

#include <cstring>

namespace PixelPeers {

inline Kernel::Counted<Raster::DynamicBitmap> MakeBitmap(Size size, Raster::Format format) {
    return Kernel::MakeCounted<Raster::DynamicBitmap>(size.width, size.height, format);
}

/// A new bitmap with the pixels in `bytes`.
inline Kernel::Counted<Raster::DynamicBitmap> LoadBitmap(const Bytes& bytes, Size size,
                                                         Raster::Format format) {
    const auto bitmap = MakeBitmap(size, format);
    const Raster::PixelAccessor accessor(*bitmap);
    const std::size_t rowSize =
        static_cast<std::size_t>(size.width) * bitmap->GetPixelFormat().GetPixelSize();
    for (int y = 0; y < size.height; ++y) {
        std::memcpy(accessor.GetView().At(0, y),
                    bytes.As<std::byte>() + static_cast<std::size_t>(y) * rowSize, rowSize);
    }
    return bitmap;
}

inline void StoreBitmap(const Raster::DynamicBitmap& bitmap, const Bytes& bytes) {
    const Raster::ConstPixelAccessor accessor(bitmap);
    const std::size_t rowSize =
        static_cast<std::size_t>(bitmap.GetWidth()) * bitmap.GetPixelFormat().GetPixelSize();
    for (int y = 0; y < bitmap.GetHeight(); ++y) {
        std::memcpy(bytes.As<std::byte>() + static_cast<std::size_t>(y) * rowSize,
                    accessor.GetView().At(0, y), rowSize);
    }
}

}  // namespace PixelPeers
