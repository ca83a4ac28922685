#include "Kernel/Rect.h"

#include <gtest/gtest.h>

#include <limits>

namespace Kernel {
namespace {

using Rect = RectT<int>;
constexpr int Min = std::numeric_limits<int>::min();
constexpr int Max = std::numeric_limits<int>::max();

TEST(Rect, MeasuresWithoutOverflow) {
    EXPECT_EQ((Rect{Min, Min, Max, Max}.GetWidth()), 4294967295);
    EXPECT_EQ((Rect{Max, Max, Min, Min}.GetHeight()), 0);
    EXPECT_TRUE((Rect{Max, 0, Min, 1}.IsEmpty()));
    EXPECT_EQ((Rect{-Max, -Max, -Max, -Max}.GetWidth()), 0);  // a marker for "none"
    EXPECT_EQ((RectT<float>{0.25F, 0, 1, 1}.GetWidth()), 0.75F);
}

}  // namespace
}  // namespace Kernel
