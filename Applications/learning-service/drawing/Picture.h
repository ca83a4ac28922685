// Pictures to draw on.

#pragma once

#include "Raster/Bitmap.h"

#include "drawing/Colour.h"

#include <cmath>
#include <cstdint>

namespace Service {

/// Opaque or translucent pixels in host memory, sRGB.
using Picture =
    Raster::Bitmap<Raster::Red8, Raster::Green8, Raster::Blue8, Raster::Alpha8, Raster::X5>;
using PicturePointer = Kernel::Counted<Picture>;

inline PicturePointer MakePicture(int width, int height) {
    return Kernel::MakeCounted<Picture>(width, height, Raster::MipmapMode::None,
                                        Raster::HardwareCachePolicy::Never);
}

/// Red, green, blue and alpha of the pixel at (x, y), which is not checked.
inline std::uint8_t* GetPixel(const Raster::PixelView& view, int x, int y) noexcept {
    return reinterpret_cast<std::uint8_t*>(view.At(x, y));
}
inline const std::uint8_t* GetPixel(const Raster::ConstPixelView& view, int x, int y) noexcept {
    return reinterpret_cast<const std::uint8_t*>(view.At(x, y));
}

inline Colour GetColour(const std::uint8_t* pixel) noexcept {
    constexpr float Scale = 1.0F / 255;
    return {static_cast<float>(pixel[0]) * Scale, static_cast<float>(pixel[1]) * Scale,
            static_cast<float>(pixel[2]) * Scale};
}

/// The byte for 0..1, clamped.
inline std::uint8_t ToByte(float value) noexcept {
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): it is not negative, and std::lround() is a call
    return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 1.0F) * 255 + 0.5F);
}

/// Leaves alpha as it is.
inline void SetColour(std::uint8_t* pixel, Colour colour) noexcept {
    pixel[0] = ToByte(colour.red);
    pixel[1] = ToByte(colour.green);
    pixel[2] = ToByte(colour.blue);
}

/// Replaces each colour by `change(colour, x, y)`, with coordinates in pixels.
template <class Change>
void ChangeColours(Picture& picture, Change change) {
    const Raster::PixelView view = picture.GetHostView();
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            std::uint8_t* const pixel = GetPixel(view, x, y);
            SetColour(pixel, change(GetColour(pixel), x, y));
        }
    }
}

}  // namespace Service
