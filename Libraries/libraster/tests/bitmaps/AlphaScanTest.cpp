#include "bitmaps/AlphaScan.h"
#include "tests/formats/EveryFormat.h"
#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace Raster::Testing {
namespace {

TEST(AlphaScan, FindsBoxesOfEveryFormat) {
    const std::vector<const PixelFormat*>& formats = GetHostFormats();
    alignas(64) static std::array<float, 4> rgba[150 * 9];
    std::mt19937 random(5);
    const auto below = [&](int limit) { return static_cast<int>(random() >> 8) % limit; };
    for (int run = 0; run < 500; ++run) {
        const PixelFormat& format = *formats[static_cast<std::size_t>(run) % formats.size()];
        const bool isInverse = below(2) != 0;
        const int width = below(150), height = below(9), rarity = 1 + below(2000);
        Rect box = isInverse ? EmptyRect : Rect{};
        for (int i = 0; i < width * height; ++i) {
            const bool isWanted = below(rarity) == 0;  // NaN is neither visible nor opaque
            rgba[i] = {1, 1, 1, isWanted == isInverse ? NAN : isInverse ? 1.0f : 0.01f};
            if (isWanted) {
                const int x = i % width, y = i / width;
                box = box.IsEmpty()
                          ? Rect{x, y, x + 1, y + 1}
                          : Rect{std::min(box.left, x), box.top, std::max(box.right, x + 1), y + 1};
            }
        }
        std::vector<std::byte> pixels(1500 * format.GetPixelSize() + 1);
        format.write(rgba->data(), &pixels[1], static_cast<std::size_t>(width * height));
        const int stride = static_cast<int>(format.GetPixelSize()) * width;
        const ConstPixelView view{&pixels[1], stride, width, height, &format};
        const auto find = isInverse ? FindInverseAlphaBox : FindAlphaBox;
        ForTargets([&] { EXPECT_EQ(find(view, nullptr), box); });
    }
}

}  // namespace
}  // namespace Raster::Testing
