#include "Raster/Compositing.h"

#include "tests/bitmaps/Noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Raster::Testing {
namespace {

TEST(BoxFilter, IsTheMeanOfTheSquare) {
    const auto picture = MakeNoise(40, 300, Format::RGBA16, 6);
    for (const int radius : {1, 100, 2'000'000'000}) {
        const auto result = BoxFilter(*picture, radius);
        const int reach = std::min(radius, 300);
        const double side = 2 * reach + 1;
        for (const int y : {0, 3, 255, 256, 299}) {
            double sum[4] = {};
            for (int j = y - reach; j <= y + reach; ++j) {
                for (int x = y % 40 - reach; x <= y % 40 + reach; ++x) {
                    const Colour c =
                        GetColour(*picture, std::clamp(j, 0, 299) * 40 + std::clamp(x, 0, 39));
                    for (std::size_t i = 0; i < 4; ++i) {
                        sum[i] += i < 3 ? double{c[i]} * c[3] : c[3];
                    }
                }
            }
            const Colour mean = GetColour(*result, y * 40 + y % 40);
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_NEAR(mean[i], sum[3] > 0 ? sum[i] / sum[3] : 0, 1e-5);
            }
            EXPECT_NEAR(mean[3], sum[3] / side / side, 1e-5);
        }
    }
}

TEST(BoxFilter, LeavesNothingBehind) {
    DynamicBitmap fading(40, 200, Format::RGBA16);  // transparent in the lower half
    std::mt19937 random(3);
    std::generate_n(reinterpret_cast<std::uint16_t*>(fading.GetHostView().pixels),
                    fading.GetHostView().stride / 2 * 100, [&random, i = 0]() mutable {
                        const auto sample = static_cast<std::uint16_t>(random());
                        return ++i % 4 != 0 ? sample : sample % 2 != 0 ? 65535 : sample % 100;
                    });
    const auto faded = BoxFilter(fading, 90);
    EXPECT_TRUE(std::all_of(faded->GetHostView().At(0, 190), faded->GetHostView().At(0, 200),
                            [](std::byte byte) { return byte == std::byte{}; }));
    // Floats whose sums a double cannot hold, over a lower half that stays empty.
    DynamicBitmap uneven(40, 300, Format::RGBAF);
    std::generate_n(reinterpret_cast<float*>(uneven.GetHostView().pixels), 40 * 150 * 4, [&random] {
        return std::ldexp(static_cast<float>(random() % 1000),
                          static_cast<int>(random() % 30) - 35);
    });
    EXPECT_EQ(BoxFilter(uneven, 20)->GetAlphaBoundingBox(), (Rect{0, 0, 40, 170}));
    DynamicBitmap damaged(20, 20, Format::AlphaF);
    auto* const samples = reinterpret_cast<float*>(damaged.GetHostView().At(0, 5));
    samples[4] = NAN;
    samples[5] = INFINITY;
    samples[6] = 1;
    reinterpret_cast<float*>(damaged.GetHostView().At(0, 6))[5] = -1;  // less than nothing
    EXPECT_EQ(GetColour(*BoxFilter(damaged, 1), 125)[3], 1.0F / 9);
    EXPECT_EQ(GetColour(*BoxFilter(damaged, 1), 399)[3], 0);
}

}  // namespace
}  // namespace Raster::Testing
