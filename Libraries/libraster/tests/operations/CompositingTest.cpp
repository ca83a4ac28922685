#include "Raster/Compositing.h"

#include "tests/bitmaps/Noise.h"

#include <gtest/gtest.h>

#include <array>

namespace Raster::Testing {
namespace {

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

}  // namespace
}  // namespace Raster::Testing
