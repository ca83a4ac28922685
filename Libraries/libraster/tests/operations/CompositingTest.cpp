#include "Raster/ColourCubeRGB.h"
#include "Raster/Compositing.h"
#include "Raster/Pipeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>

namespace Raster {
namespace {

using Colour = std::array<float, 4>;
using BitmapPointer = Kernel::Counted<DynamicBitmap>;

Colour GetColour(const DynamicBitmap& bitmap, int number) {
    alignas(64) Colour rgba{};
    const ConstPixelView view = bitmap.GetHostView();
    view.format->read(view.At(number % view.width, number / view.width), rgba.data(), 1);
    return rgba;
}

/// Random colours; a third of the alphas is 0, a third 1.
BitmapPointer MakeNoise(int width, int height, Format format, unsigned seed) {
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

/// Porter and Duff on colours multiplied by alpha, then faded by the mask.
std::array<double, 4> GetBlended(Blend blend, Colour s, Colour d, double weight, double mask) {
    std::array<double, 4> result{};
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
    const auto source = MakeNoise(150, 30, Format::RGBA16, 1);
    const auto mask = MakeNoise(150, 30, Format::Alpha8, 2);
    for (int run = 0; run < 3 * 4 * 2; ++run) {
        const auto before = MakeNoise(150, 30, static_cast<Format>(run % 3), 3);
        const auto blend = static_cast<Blend>(run / 3 % 4);
        const bool isMasked = run >= 12;
        const auto after = before->Clone();
        Rendering rendering;
        rendering.blend = blend;
        rendering.weight = 0.75F;
        ASSERT_TRUE((Pipeline<DynamicBitmap, DynamicBitmap>::Run(
            *after, *source, isMasked ? mask.Get() : nullptr, {0, 0, 150, 30}, rendering)));
        for (int i = 0; i < 150 * 30; ++i) {
            const Colour s = GetColour(*source, i);
            const Colour d = GetColour(*before, i);
            const double m = isMasked ? GetColour(*mask, i)[3] : 1;
            const auto blended = GetBlended(blend, s, d, 0.75, m);
            const bool isCopy = blend == Blend::Replace && !isMasked;
            for (std::size_t c = 0; c < 4; ++c) {
                ASSERT_NEAR(GetColour(*after, i)[c],
                            m == 0   ? d[c]
                            : isCopy ? s[c]
                                     : blended[c],
                            before->GetFormat() == Format::RGBA8 ? 0.51 / 255 : 1e-5)
                    << run << ' ' << i;
            }
        }
    }
}

TEST(Compositing, LeavesAloneWhatItDoesNotTouch) {
    for (const Format format : {Format::RGBA8, Format::CMYKA8, Format::LabA16}) {
        const auto picture = MakeNoise(300, 280, format, 4);
        const auto result = picture->Clone();
        const DynamicBitmap nothing(50, 50, format);
        EXPECT_TRUE(CompositeOver(*result, nothing, {1, 0.5, 0, 1, 7.5, 8}, 1));
        EXPECT_TRUE(CompositeOver(*result, *picture, {2, 0, 0, 2, -650, 0}, 1));
        EXPECT_TRUE(Render(*result, *picture, {}, Sampler::Lanczos));
        EXPECT_TRUE(BoxFilter(*picture, 0)->IsEqual(*result) && result->IsEqual(*picture));
        CopyTally tally;
        const auto wide = AddBorder(*picture, 9);
        EXPECT_TRUE(CopyWithTally(*wide, {-5, -5, 350, 350}, tally)->GetWidth() == 355);
        std::array<std::uint64_t, 3> counts{};
        for (int i = 0; i < 318 * 298; ++i) {
            const float alpha = GetColour(*wide, i)[3];
            ++counts[alpha == 1 ? 2 : alpha > 0 ? 1 : 0];
        }
        EXPECT_EQ(counts, (std::array{tally.transparent, tally.translucent, tally.opaque}));
        EXPECT_TRUE(AddBorder(*wide, -9)->IsEqual(*picture));
        EXPECT_EQ(AddBorder(*wide, -149)->GetWidth(), 0);
        EXPECT_TRUE(Resize(*picture, 300, 280, format, Sampler::Bicubic)->IsEqual(*picture));
        EXPECT_TRUE(CompositeDestinationIn(*result, DynamicBitmap(20, 300, Format::Alpha8)));
        EXPECT_TRUE(result->GetAlphaBoundingBox().IsEmpty());
        EXPECT_FALSE(JoinAlpha(*picture, *wide));
    }
    bool abort = true;
    EXPECT_FALSE(BoxFilter(*MakeNoise(9, 9, Format::RGBA8, 5), 3, &abort));
    EXPECT_FALSE(
        Resize(*MakeNoise(9, 9, Format::RGBA8, 5), 4, 4, Format::RGBA8, Sampler::Area, &abort));
}

TEST(BoxFilter, IsTheMeanOfTheSquare) {
    const auto picture = MakeNoise(40, 300, Format::RGBA16, 6);
    for (const int radius : {1, 100, 2'000'000'000}) {
        const auto result = BoxFilter(*picture, radius);
        const int reach = std::min(radius, 300);
        const double side = 2 * reach + 1;
        for (const int y : {0, 3, 255, 256, 299}) {
            double sum[2] = {};
            for (int j = y - reach; j <= y + reach; ++j) {
                for (int x = y % 40 - reach; x <= y % 40 + reach; ++x) {
                    const Colour c =
                        GetColour(*picture, std::clamp(j, 0, 299) * 40 + std::clamp(x, 0, 39));
                    sum[0] += double{c[0]} * c[3];
                    sum[1] += c[3];
                }
            }
            const Colour mean = GetColour(*result, y * 40 + y % 40);
            EXPECT_NEAR(mean[0], sum[1] > 0 ? sum[0] / sum[1] : 0, 1e-5);
            EXPECT_NEAR(mean[3], sum[1] / side / side, 1e-5);
        }
    }
}

TEST(BoxFilter, LeavesNothingBehind) {
    DynamicBitmap fading(40, 200, Format::RGBA16);  // to nothing, in the lower half
    std::mt19937 random(3);
    std::generate_n(reinterpret_cast<std::uint16_t*>(fading.GetHostView().pixels),
                    fading.GetHostView().stride / 2 * 100, [&random, i = 0]() mutable {
                        const auto sample = static_cast<std::uint16_t>(random());
                        return ++i % 4 != 0 ? sample : sample % 2 != 0 ? 65535 : sample % 100;
                    });
    const auto faded = BoxFilter(fading, 90);
    EXPECT_TRUE(std::all_of(faded->GetHostView().At(0, 190), faded->GetHostView().At(0, 200),
                            [](std::byte byte) { return byte == std::byte{}; }));
    DynamicBitmap damaged(20, 20, Format::AlphaF);
    auto* const samples = reinterpret_cast<float*>(damaged.GetHostView().At(0, 5));
    samples[4] = NAN;
    samples[5] = INFINITY;
    samples[6] = 1;
    EXPECT_EQ(GetColour(*BoxFilter(damaged, 1), 125)[3], 1.0F / 9);
    EXPECT_EQ(GetColour(*BoxFilter(damaged, 1), 399)[3], 0);
}

TEST(ColourCubeRGB, LooksUpWhatItHolds) {
    using Way = ColourCubeRGB::Interpolation;
    std::vector<float> twice;
    for (int i = 0; i < 5 * 5 * 5; ++i) {
        for (const int axis : {1, 5, 25}) {
            twice.push_back(static_cast<float>(i / axis % 5) / 2);
        }
    }
    for (const Way way : {Way::Trilinear, Way::Tetrahedral}) {
        alignas(64) float rgba[] = {0.1F, 0.7F, 0.4F, 0.3F, -5, NAN, 7, 2};
        ColourCubeRGB("Identity", way).Apply(rgba, 2);
        ColourCubeRGB(5, twice, way).Apply(rgba, 2);
        EXPECT_THAT(rgba, testing::Pointwise(testing::FloatNear(1e-6F),
                                             {0.2F, 1.4F, 0.8F, 0.3F, 0.F, 0.F, 2.F, 2.F}));
    }
    std::vector<float> corner(24);  // black but for the white corner
    std::fill_n(corner.end() - 3, 3, 1.0F);
    for (const Way way : {Way::Trilinear, Way::Tetrahedral}) {
        alignas(64) float rgba[] = {0.5F, 0.5F, 0.25F, 1};
        ColourCubeRGB(2, corner, way).Apply(rgba, 1);
        EXPECT_EQ(rgba[0], way == Way::Trilinear ? 0.0625F : 0.25F);
    }
    EXPECT_THROW(ColourCubeRGB(4, twice), std::invalid_argument);
    EXPECT_THROW(ColourCubeRGB("Sepia"), std::invalid_argument);
}

}  // namespace
}  // namespace Raster
