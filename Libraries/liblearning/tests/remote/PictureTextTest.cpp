#include "remote/pictures/PictureText.h"
#include "tests/Allocations.h"
#include "tests/remote/PictureService.h"

#include <random>

namespace Learning {
namespace {

TEST(PictureText, HasItsRoomFromTheStart) {
    std::mt19937 random(1);
    const auto countAllocations = [&random](int height) {
        constexpr int Width = 200;
        const Picture noise = MakePicture(Width, height, 0);  // makes the longest texts
        for (int i = 0; i < Width * height; ++i) {
            const int x = i % Width;
            const int y = i / Width;
            Fill(*noise, {x, y, x + 1, y + 1}, static_cast<std::uint32_t>(random()));
        }
        Raster::ExportOptions options;
        options.SetQuality(70);
        constexpr int Many = 1'000'000;
        allocationsLeft = Many;
        const Kernel::String text = EncodeAsText(noise->GetHostView(), options, nullptr);
        const int count = Many - std::exchange(allocationsLeft, -1);
        EXPECT_GT(text.size(), static_cast<std::size_t>(Width * height / 2));
        return count;
    };
    EXPECT_EQ(countAllocations(800), countAllocations(40));
}

}  // namespace
}  // namespace Learning
