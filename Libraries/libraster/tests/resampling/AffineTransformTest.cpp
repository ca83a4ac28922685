#include "Raster/AffineTransform.h"
#include "Raster/Rendering.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace Raster {
namespace {

using Params = AffineTransform::Params;
constexpr double Infinite = std::numeric_limits<double>::infinity();
constexpr int Largest = std::numeric_limits<int>::max();

TEST(AffineTransform, ComposesAndInverts) {
    const Params turn{0, -1, 1, 0, 10, 20};
    const Params both = turn.Compose(Params::Scale(2, 4));
    EXPECT_EQ(both.Map({3, 5}), turn.Map({6, 20}));
    const Params skew{1.5, 0.25, -0.5, 3, 7, -9};
    const auto there = skew.Invert()->Map(skew.Map({11, -13}));
    EXPECT_NEAR(there.x, 11, 1e-12);
    EXPECT_NEAR(there.y, -13, 1e-12);
    for (const Params& hopeless :
         {Params{1, 2, 2, 4, 0, 0}, Params{0, 0, 0, 0, 0, 0}, Params{NAN, 0, 0, 1, 0, 0},
          Params{1, 0, 0, 1, Infinite, 0}, Params{1e-200, 0, 0, 1e-200, 0, 0},
          Params{1e-10, 0, 0, 1, 1e308, 0}}) {
        EXPECT_FALSE(hopeless.Invert());
        EXPECT_FALSE(IsPossible({.transform = hopeless, .stages = {}}));
    }
}

TEST(AffineTransform, MapsRectanglesOutwardsButForgivesRounding) {
    const Params third = Params::MapRect({0, 0, 3, 3}, {0, 0, 1, 2});
    EXPECT_EQ(third.MapRect(Rect{0, 0, 3, 3}), (Rect{0, 0, 1, 2}));
    EXPECT_EQ(third.MapRect(Rect{-1, -1, 4, 4}), (Rect{-1, -1, 2, 3}));
    EXPECT_EQ(Params::Translate(1e-7, -1e-7).MapRect(Rect{1, 1, 2, 2}), (Rect{1, 1, 2, 2}));
    EXPECT_EQ(Params::Translate(1e-5, 0).MapRect(Rect{1, 1, 2, 2}), (Rect{1, 1, 3, 2}));
    EXPECT_EQ(Params::Scale(1e300, -1e300).MapRect(Rect{-1, -1, 1, 1}),
              (Rect{-Largest - 1, -Largest - 1, Largest, Largest}));
    EXPECT_EQ(Params::Scale(1, 1).MapRect(Rect{5, 5, 5, 9}), Rect{});
    EXPECT_EQ((Params{NAN, 0, 0, 1, 0, 0}).MapRect(Rect{0, 0, 1, 1}), Rect{});
    EXPECT_THROW(Params::MapRect({0, 0, 0, 1}, {0, 0, 1, 1}), std::invalid_argument);
    EXPECT_THROW(Params::MapRect({0, 0, 1, 1}, {0, 0, Infinite, 1}), std::invalid_argument);
}

}  // namespace
}  // namespace Raster
