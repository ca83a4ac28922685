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

/// Random colours; a third of the alphas is 0, a third 1.
inline BitmapPointer MakeNoise(int width, int height, Format format, unsigned seed) {
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    std::mt19937 random(seed);
    const PixelView view = bitmap->GetHostView();
    for (int i = 0; i < width * height; ++i) {
        alignas(64) Colour rgba{};
        std::ranges::generate(rgba, [&] { return static_cast<float>(random() % 256) / 255; });
        rgba[3] = std::clamp(rgba[3] * 3 - 1, 0.0F, 1.0F);
        view.format->write(rgba.data(), view.At(i % width, i / width), 1);
    }
    return bitmap;
}

}  // namespace Raster::Testing
