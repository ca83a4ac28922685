#include "codecs/PNGFilters.h"
#include "tests/formats/ForInstructionSets.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace Raster::Testing {
namespace {

/// What a filter type predicts from the bytes to the left, above, and above to the left, as the
/// PNG standard puts it.
int Predict(int type, int a, int b, int c) {
    const int p = a + b - c;
    const int nearest = std::min({std::abs(p - a), std::abs(p - b), std::abs(p - c)});
    const int paeth = std::abs(p - a) == nearest ? a : std::abs(p - b) == nearest ? b : c;
    const int predictions[] = {0, a, b, (a + b) / 2, paeth};
    return predictions[type];
}

TEST(PNGFilters, AreUndoneOnEveryInstructionSet) {
    constexpr std::size_t Size = 24 * 37;  // a multiple of each size of a pixel
    std::vector<std::byte> row(Size + FilterPadding);
    std::vector<std::byte> above(Size + FilterPadding);
    unsigned seed = 1;
    for (std::size_t i = 0; i < Size; ++i) {
        // Noise, then neighbours that are alike, for which Paeth's choices are close.
        const unsigned shift = i < Size / 2 ? 24 : 30;
        row[i] = static_cast<std::byte>((seed = seed * 1'664'525 + 1'013'904'223) >> shift);
        above[i] = static_cast<std::byte>((seed = seed * 1'664'525 + 1'013'904'223) >> shift);
    }
    for (int type = 0; type <= LastFilterType; ++type) {
        for (const std::size_t pixelSize : {1, 2, 3, 4, 6, 8}) {
            std::vector<std::byte> filtered(Size + FilterPadding);
            for (std::size_t i = 0; i < Size; ++i) {
                const auto at = [&](const std::vector<std::byte>& bytes) {
                    return i < pixelSize ? 0 : std::to_integer<int>(bytes[i - pixelSize]);
                };
                const int b = std::to_integer<int>(above[i]);
                filtered[i] = static_cast<std::byte>(std::to_integer<int>(row[i]) -
                                                     Predict(type, at(row), b, at(above)));
            }
            ForTargets([&] {
                std::vector<std::byte> result(Size + FilterPadding);
                Unfilter(static_cast<std::uint8_t>(type), filtered.data(), above.data(),
                         result.data(), Size, pixelSize);
                EXPECT_TRUE(std::equal(row.begin(), row.begin() + Size, result.begin()))
                    << type << ", " << pixelSize;
                if (std::byte(type) == FilterTypeUp) {
                    FilterUp(row.data(), above.data(), result.data(), Size);
                    EXPECT_TRUE(
                        std::equal(result.begin(), result.begin() + Size, filtered.begin()));
                }
            });
        }
    }
}

}  // namespace
}  // namespace Raster::Testing
