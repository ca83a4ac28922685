// Painted bitmaps, what mapping makes of them, and how far that is from what it should be.

#pragma once

#include "Raster/DynamicBitmap.h"
#include "Raster/Rendering.h"

#include "tests/bitmaps/Noise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

namespace Raster::Testing {

using Params = AffineTransform::Params;

/// A bitmap whose unit-float pixels `paint(x, y)` gives.
template <class Painter>
BitmapPointer Paint(int width, int height, const PixelFormat& format, Painter paint) {
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    const PixelView view = bitmap->GetHostView();
    for (int i = 0; i < width * height; ++i) {
        alignas(64) const Colour rgba = paint(i % width, i / width);
        view.format->write(rgba.data(), view.At(i % width, i / width), 1);
    }
    return bitmap;
}

inline BitmapPointer PaintNoise(int width, int height, const PixelFormat& format) {
    std::mt19937 random(7);
    return Paint(width, height, format, [&random](int, int) {
        Colour colour{};
        std::ranges::generate(colour, [&] { return static_cast<float>(random() % 256) / 255; });
        return colour;
    });
}

inline Colour GetColour(const DynamicBitmap& bitmap, AffineTransform::Point at) {
    alignas(64) Colour rgba{};
    bitmap.GetPixelFormat().read(
        bitmap.GetHostView().At(static_cast<int>(at.x), static_cast<int>(at.y)), rgba.data(), 1);
    return rgba;
}

/// All of a bitmap, rectangle by rectangle.
inline BitmapPointer Map(const DynamicBitmap& source, const Params& transform, Sampler sampler,
                         const std::vector<Rect>& rects = {{0, 0, 270, 300}}) {
    auto result = Kernel::MakeCounted<DynamicBitmap>(270, 300, source.GetPixelFormat());
    const ViewSource from(source.GetHostView());
    ViewTarget to(result->GetHostView());
    const Rendering rendering{.transform = transform, .sampler = sampler, .stages = {}};
    for (const Rect& rect : rects) {
        RunHostPath({&from, &to, nullptr, &rendering, nullptr}, rect);
    }
    return result;
}

using Pixel = std::array<double, 4>;

/// How far results are from what they should be, in levels of premultiplied samples.
class Distance {
public:
    void Add(const Pixel& expected, Colour got) {
        for (std::size_t c = 0; c < 4; ++c) {
            // Filters overshoot: alpha is clamped, and so are colours without it.
            const double alpha = std::clamp(expected[3], 0.0, 1.0);
            const double colour =
                alpha > 0 ? alpha * std::clamp(expected[c] / expected[3], 0.0, 1.0) : 0;
            const double value = c < 3 ? double{got[c]} * got[3] : got[3];
            const double distance = 255 * (value - (c < 3 ? colour : alpha));
            worst = std::max(worst, std::fabs(distance));
            m_squares += distance * distance;
            ++m_count;
        }
    }
    double GetMean() const { return std::sqrt(m_squares / m_count); }

    double worst = 0;

private:
    double m_squares = 0;
    int m_count = 0;
};

}  // namespace Raster::Testing
