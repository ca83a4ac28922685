// Bitmaps of random colours, and single pixels of them.

#pragma once

#include "Raster/DynamicBitmap.h"

#include <algorithm>
#include <array>
#include <random>

namespace Raster::Testing {

using Colour = std::array<float, 4>;
using BitmapPointer = Kernel::Counted<DynamicBitmap>;

inline Colour GetColour(const DynamicBitmap& bitmap, int number) {
    alignas(64) Colour rgba{};
    const ConstPixelView view = bitmap.GetHostView();
    view.format->read(view.At(number % view.width, number / view.width), rgba.data(), 1);
    return rgba;
}

/// Random colours; a third of the alphas is 0, a third 1. Where samples are floats, those thirds
/// are down to -1 and up to 2.
inline BitmapPointer MakeNoise(int width, int height, Format format, unsigned seed) {
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    std::mt19937 random(seed);
    const PixelView view = bitmap->GetHostView();
    for (int i = 0; i < width * height; ++i) {
        alignas(64) Colour rgba{};
        std::ranges::generate(rgba, [&] { return static_cast<float>(random() % 256) / 255; });
        rgba[3] = rgba[3] * 3 - 1;
        view.format->write(rgba.data(), view.At(i % width, i / width), 1);
    }
    return bitmap;
}

/// Random bytes, most of which do not come back from the intermediate; a third of the pixels is 0,
/// a third opaque.
inline BitmapPointer MakeBytes(int width, int height, Format format, unsigned seed) {
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    std::mt19937 random(seed);
    const PixelView view = bitmap->GetHostView();
    for (int i = 0; i < width * height; ++i) {
        std::byte* const pixel = view.At(i % width, i / width);
        std::byte* const end = pixel + view.format->GetPixelSize();
        std::byte* const alpha = end - view.format->sampleSize;
        std::generate(pixel, end, [&] { return static_cast<std::byte>(random()); });
        const bool isVisible =
            std::any_of(alpha, end, [](auto byte) { return byte != std::byte{}; });
        std::fill(i % 3 == 0 || !isVisible ? pixel : end, end, std::byte{0});
        std::fill(i % 3 == 1 ? alpha : end, end, std::byte{255});
    }
    return bitmap;
}

}  // namespace Raster::Testing
