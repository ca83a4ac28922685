#include "Raster/Pipeline.h"

#include "tests/bitmaps/Noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace Raster::Testing {
namespace {

/// Porter and Duff in premultiplied alpha, then interpolated by the mask.
std::array<double, 4> GetBlended(Blend blend, Colour s, Colour d, double weight, double mask) {
    std::array<double, 4> result{};
    const bool isWithin = blend == Blend::Over || blend == Blend::DestinationIn;
    s[3] = std::clamp(s[3], 0.0F, isWithin ? 1.0F : 2.0F);
    d[3] = std::clamp(d[3], 0.0F, blend == Blend::Over && s[3] * mask > 0 ? 1.0F : 2.0F);
    weight = std::clamp(weight, 0.0, 1.0);
    const double share = blend == Blend::Over ? s[3] * weight * mask : mask;
    for (const std::size_t i : {3, 0, 1, 2}) {
        const double old = i < 3 ? double{d[i]} * d[3] : d[3];
        const double fresh = blend == Blend::Replace         ? (i < 3 ? double{s[i]} * s[3] : s[3])
                             : blend == Blend::Over          ? (i < 3 ? s[i] : 1)
                             : blend == Blend::DestinationIn ? old * s[3]
                                                             : (i < 3 ? d[i] : 1) * s[3];
        result[i] = fresh * share + old * (1 - share);
        result[i] = i == 3 ? result[3] : result[3] > 0 ? result[i] / result[3] : 0;
    }
    return result;
}

TEST(Blending, AgreesWithPorterAndDuff) {
    const auto source = MakeNoise(150, 30, Format::RGBAF, 1);
    const auto mask = MakeNoise(150, 30, Format::AlphaF, 2);
    for (int run = 0; run < 3 * 4 * 2; ++run) {
        const auto before = MakeNoise(150, 30, static_cast<Format>(run % 3), 3);
        const auto blend = static_cast<Blend>(run / 3 % 4);
        const bool isMasked = run >= 12;
        const auto after = before->Clone();
        Rendering rendering;
        rendering.blend = blend;
        rendering.weight = isMasked ? 0.75F : 1.5F;  // which is 1
        ASSERT_TRUE((Pipeline<DynamicBitmap, DynamicBitmap>::Run(
            *after, *source, isMasked ? mask.Get() : nullptr, {0, 0, 150, 30}, rendering)));
        for (int i = 0; i < 150 * 30; ++i) {
            const Colour s = GetColour(*source, i);
            const Colour d = GetColour(*before, i);
            const double m = isMasked ? std::clamp(GetColour(*mask, i)[3], 0.0F, 1.0F) : 1;
            const auto blended = GetBlended(blend, s, d, double{rendering.weight}, m);
            const bool isCopy = blend == Blend::Replace && !isMasked;
            const bool isFloat = before->GetFormat() == Format::RGBAF;
            for (std::size_t c = 0; c < 4; ++c) {
                const double expected = m == 0 ? d[c] : isCopy ? s[c] : blended[c];
                ASSERT_NEAR(GetColour(*after, i)[c],
                            isFloat ? expected : std::clamp(expected, 0.0, 1.0),
                            before->GetFormat() == Format::RGBA8 ? 0.51 / 255 : 1e-5)
                    << run << ' ' << i;
            }
        }
    }
}

}  // namespace
}  // namespace Raster::Testing
