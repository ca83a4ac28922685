// Stages in stock against their definitions in double, on every instruction set.

#include "Raster/Compositing.h"
#include "Raster/Stages.h"

#include "tests/bitmaps/Noise.h"
#include "tests/formats/EveryFormat.h"
#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

namespace Raster::Testing {
namespace {

double Unit(double x) {
    return x > 0 ? std::min(x, 1.0) : 0;  // NaN is 0
}

double GetLuma(const Colour& c) {
    return 0.299 * Unit(c[0]) + 0.587 * Unit(c[1]) + 0.114 * Unit(c[2]);
}

/// `colour` laid over 0.2, 0.9, 0.
double Flatten(const Colour& colour, std::size_t channel) {
    constexpr std::array Background{0.2, 0.9, 0.0};
    const double alpha = Unit(colour[3]);
    return (alpha > 0 ? colour[channel] * alpha : 0) + Background[channel] * (1 - alpha);
}

TEST(Stages, FollowTheirDefinitions) {
    using Formula = std::function<std::array<double, 4>(const Colour&)>;
    const std::pair<Kernel::Counted<const SpanStage>, Formula> cases[] = {
        {CreateLumaToAlphaStage(),
         [](const Colour& c) {
             return std::array<double, 4>{c[0], c[1], c[2], GetLuma(c) * Unit(c[3])};
         }},
        {CreateAlphaToGreyStage(),
         [](const Colour& c) {
             return std::array<double, 4>{Unit(c[3]), Unit(c[3]), Unit(c[3]), 1};
         }},
        {CreateFlattenStage(0.2F, 0.9F, 0), [](const Colour& c) {
             return std::array<double, 4>{Flatten(c, 0), Flatten(c, 1), Flatten(c, 2), 1};
         }}};
    constexpr std::array Values{0.0F, 1.0F, -0.5F, 1.5F, 1e-4F, 0.25F, 0.7F};
    for (const auto& [stage, define] : cases) {
        for (std::size_t count = 1; count <= 128; ++count) {
            alignas(64) std::array<Colour, 129> pixels;
            for (std::size_t i = 0; i < 129 * 4; ++i) {
                pixels[i / 4][i % 4] = Values[(i * i + count) % Values.size()];
            }
            pixels[0][3] = NAN;
            const auto before = pixels;
            ForTargets([&, stage = stage, define = define] {
                pixels = before;
                stage->Apply(pixels.data()->data(), count);
                for (std::size_t i = 0; i < count; ++i) {
                    const std::array<double, 4> expected = define(before[i]);
                    for (std::size_t channel = 0; channel < 4; ++channel) {
                        ASSERT_NEAR(pixels[i][channel], expected[channel], 2e-7) << i;
                    }
                }
                EXPECT_EQ(pixels[count], before[count]);
            });
        }
    }
}

TEST(Stages, ClearExactlyWhatTheFormatMakesTransparent) {
    for (const PixelFormat* format : GetHostFormats()) {
        const double largest = std::exp2(8.0 * format->sampleSize) - 1;
        const auto half = static_cast<float>(format->sampleSize == 4 ? 1e-30 : 0.5 / largest);
        for (const float alpha : {NAN, -1.0F, 0.0F, std::nextafter(half, 0.0F), half, 0.5F, 2.0F}) {
            alignas(64) Colour colour{1, NAN, 0.5F, alpha};
            ForTargets([&] { CreateClearHiddenStage(*format)->Apply(colour.data(), 1); });
            std::array<std::byte, MaximumPixelSize> pixel{};
            alignas(64) Colour stored{0, 0, 0, alpha};
            format->write(stored.data(), pixel.data(), 1);
            format->read(pixel.data(), stored.data(), 1);
            const bool isVisible = stored[3] > 0;
            EXPECT_EQ(colour[0], isVisible ? 1 : 0) << alpha << ' ' << int{format->sampleSize};
            EXPECT_EQ(std::isnan(colour[1]), isVisible);
            EXPECT_TRUE(isVisible ? colour[3] == alpha : colour[3] == 0);
        }
    }
}

TEST(Stages, TakeErasedColoursOutOfARendering) {
    DynamicBitmap erased(40, 30);
    for (int i = 0; i < 40 * 30; ++i) {
        *erased.GetHostView().At(i % 40, i / 40) = std::byte{254};  // red, under alpha 0
    }
    for (const double scale : {1.0, 0.5}) {
        for (const Sampler sampler : {Sampler::Nearest, Sampler::Lanczos}) {
            DynamicBitmap sent(40, 30);
            EXPECT_TRUE(Render(sent, erased, {scale, 0, 0, scale, 0, 0}, sampler, nullptr,
                               {CreateClearHiddenStage(sent.GetPixelFormat())}));
            EXPECT_TRUE(sent.IsEqual(DynamicBitmap(40, 30)));
        }
    }
    const auto mask = MakeNoise(40, 30, Format::Alpha8, 3);
    DynamicBitmap shown(40, 30);
    EXPECT_TRUE(Convert(shown, *mask, nullptr, {CreateAlphaToGreyStage()}));
    EXPECT_EQ(shown.GetInverseAlphaBoundingBox(), EmptyRect);
    DynamicBitmap back(40, 30, Format::Alpha8);
    EXPECT_TRUE(Convert(back, shown, nullptr, {CreateLumaToAlphaStage()}));
    EXPECT_TRUE(back.IsEqual(*mask));
}

}  // namespace
}  // namespace Raster::Testing
