#include "Raster/ColourCubeRGB.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace Raster {
namespace {

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
    constexpr int TooLarge = ColourCubeRGB::MaximumSize + 1;
    EXPECT_THROW(ColourCubeRGB(TooLarge, std::vector<float>(3 * TooLarge * TooLarge * TooLarge)),
                 std::invalid_argument);
    EXPECT_THROW(ColourCubeRGB(1, std::vector<float>(3)), std::invalid_argument);
    EXPECT_THROW(ColourCubeRGB("Sepia"), std::invalid_argument);
}

}  // namespace
}  // namespace Raster
