// Colours to draw with.

#pragma once

#include <algorithm>

namespace Service {

/// Red, green and blue as sRGB has them, 0..1.
struct Colour {
    float red = 0;
    float green = 0;
    float blue = 0;

    friend Colour operator*(Colour colour, float factor) noexcept {
        return {colour.red * factor, colour.green * factor, colour.blue * factor};
    }
    friend Colour operator+(Colour a, Colour b) noexcept {
        return {a.red + b.red, a.green + b.green, a.blue + b.blue};
    }
    friend bool operator==(Colour, Colour) noexcept = default;
};

/// `a` for a share of 0, `b` for 1.
inline Colour Mix(Colour a, Colour b, float share) noexcept {
    return a * (1 - share) + b * share;
}

/// The lightness of BT.601.
inline float GetLuma(Colour colour) noexcept {
    return 0.299F * colour.red + 0.587F * colour.green + 0.114F * colour.blue;
}

/// The colour of 0xRRGGBB.
constexpr Colour FromHex(unsigned code) noexcept {
    return {static_cast<float>(code >> 16 & 255) / 255, static_cast<float>(code >> 8 & 255) / 255,
            static_cast<float>(code & 255) / 255};
}

/// 0 up to `low`, 1 from `high` on, and a smooth way between them.
inline float SmoothStep(float low, float high, float value) noexcept {
    const float share = std::clamp((value - low) / (high - low), 0.0F, 1.0F);
    return share * share * (3 - 2 * share);
}

}  // namespace Service
