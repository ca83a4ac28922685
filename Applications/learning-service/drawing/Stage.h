// What the parts of a scene are drawn on, and with.

#pragma once

#include "drawing/Palette.h"

#include <cstdint>

namespace Service {

/// A picture in the making. Coordinates are in heights of the picture: y is 0..1 from the top, x is
/// 0..GetWidth() from the left.
struct Stage {
    Raster::PixelView view;
    Palette palette;
    std::uint64_t seed = 0;

    float GetUnit() const noexcept { return 1.0F / static_cast<float>(view.height); }
    float GetWidth() const noexcept { return static_cast<float>(view.width) * GetUnit(); }

    /// Replaces each pixel of a rectangle by `shade(colour, x, y)`; what lies outside is left out.
    template <class Shade>
    void Fill(float left, float top, float right, float bottom, Shade shade) const {
        const float unit = GetUnit();
        const auto toPixel = [unit](float place, int size) {
            return std::clamp(static_cast<int>(std::lround(std::clamp(place, -9.0F, 9.0F) / unit)),
                              0, size);
        };
        const int firstX = toPixel(left, view.width);
        const int lastX = toPixel(right, view.width);
        const int lastY = toPixel(bottom, view.height);
        for (int y = toPixel(top, view.height); y < lastY; ++y) {
            for (int x = firstX; x < lastX; ++x) {
                std::uint8_t* const pixel = GetPixel(view, x, y);
                SetColour(pixel, shade(GetColour(pixel), (static_cast<float>(x) + 0.5F) * unit,
                                       (static_cast<float>(y) + 0.5F) * unit));
            }
        }
    }

    /// A disc with smooth edges: `shade(colour, dx, dy)` with the distance from its middle in
    /// radii.
    template <class Shade>
    void FillDisc(float x, float y, float radius, Shade shade) const {
        Fill(x - radius - GetUnit(), y - radius - GetUnit(), x + radius + GetUnit(),
             y + radius + GetUnit(), [&](Colour under, float px, float py) {
                 const float dx = (px - x) / radius;
                 const float dy = (py - y) / radius;
                 const float edge = GetUnit() / radius;
                 const float cover =
                     1 - SmoothStep(1 - edge, 1 + edge, std::sqrt(dx * dx + dy * dy));
                 return cover <= 0 ? under : Mix(under, shade(under, dx, dy), cover);
             });
    }
};

}  // namespace Service
