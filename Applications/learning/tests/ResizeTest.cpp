#include "Resize.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace LearningApp {
namespace {

/// Resizes a picture of two channels, of which `sample` gives one and its negative is the other.
template <class Sample>
std::vector<float> ResizeOf(Size from, Size to, Sample sample) {
    std::vector<float> result(static_cast<std::size_t>(to.width * to.height));
    const auto add = [&](int y, float weight, std::span<float> sum) {
        for (int x = 0; x < from.width; ++x) {
            sum[static_cast<std::size_t>(x)] += weight * sample(x, y);
            sum[static_cast<std::size_t>(x + from.width)] -= weight * sample(x, y);
        }
    };
    Resize({from, 2, add}, to, [&](int y, std::span<const float> row) {
        for (int x = 0; x < to.width; ++x) {
            const auto at = static_cast<std::size_t>(x);
            result[static_cast<std::size_t>(y * to.width) + at] = row[at];
            EXPECT_EQ(row[at + static_cast<std::size_t>(to.width)], -row[at]);
        }
    });
    return result;
}

TEST(Resize, KeepsPlanesFlatAndSlopesStraightAtAnySize) {
    for (const Size to : {Size{1, 1}, Size{7, 50}, Size{31, 17}, Size{90, 3}, Size{200, 133}}) {
        const Size from{31, 17};
        const std::vector<float> result =
            ResizeOf(from, to, [](int x, int y) { return static_cast<float>(3 + 2 * x - 5 * y); });
        for (int y = 0; y < to.height; ++y) {
            for (int x = 0; x < to.width; ++x) {
                // Where the pixel's centre lies in the source; next to the border there is no
                // slope.
                const double sourceX = (x + 0.5) * from.width / to.width - 0.5;
                const double sourceY = (y + 0.5) * from.height / to.height - 0.5;
                const double reachX = std::max(1.0, 1.0 * from.width / to.width);
                const double reachY = std::max(1.0, 1.0 * from.height / to.height);
                if (sourceX >= reachX && sourceX <= from.width - 1 - reachX && sourceY >= reachY &&
                    sourceY <= from.height - 1 - reachY) {
                    EXPECT_NEAR(result[static_cast<std::size_t>(y * to.width + x)],
                                3 + 2 * sourceX - 5 * sourceY, 0.1 * (reachX + reachY - 2) + 1e-3);
                }
            }
        }
    }
}

TEST(Resize, ShrinksAFinePatternToItsMean) {
    const std::vector<float> result =
        ResizeOf({320, 240}, {23, 17}, [](int x, int y) { return (x + y) % 2 == 0 ? 1.0F : 0.0F; });
    for (const float value : result) {
        EXPECT_NEAR(value, 0.5, 0.01);
    }
}

TEST(Resize, CopiesWhatHasTheSizeAlready) {
    const auto sample = [](int x, int y) { return static_cast<float>(x * 1.7 + y * 91); };
    const std::vector<float> result = ResizeOf({5, 4}, {5, 4}, sample);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(result[static_cast<std::size_t>(i)], sample(i % 5, i / 5));
    }
}

}  // namespace
}  // namespace LearningApp
