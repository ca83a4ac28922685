// Sizes and regions in which pictures are sent.

#include "Learning/ObjectRegion.h"

#include "remote/imagetoimage/TargetSize.h"
#include "remote/removebackground/Reduction.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace Learning {
namespace {

TEST(PictureGeometry, TakesTheSizesThatModelsTake) {
    const auto size = [](int width, int height, int most, int least, int alignment,
                         std::vector<std::int32_t> allowed = {}, bool isSquare = false) {
        ImageToImageModel model;
        model.modelMaxDimension = most;
        model.modelMinDimension = least;
        model.modelPixelAlignment = alignment;
        model.modelAllowedWidths = model.modelAllowedHeights = std::move(allowed);
        model.modelMustBeSquare = isSquare;
        return GetTargetSize(model, width, height);
    };
    constexpr int Least = std::numeric_limits<int>::min();
    constexpr int Most = std::numeric_limits<int>::max();
    EXPECT_EQ(size(4000, 3000, 1536, 512, 32), (TargetSize{1536, 1152}));
    EXPECT_EQ(size(100, 50, 1536, 512, 32), (TargetSize{1024, 512}));
    EXPECT_EQ(size(700, 300, 1024, 0, 0, {1024}, true), (TargetSize{1024, 1024}));
    EXPECT_EQ(size(300, 200, 1024, 0, 0), (TargetSize{300, 200}));
    EXPECT_EQ(size(1100, 600, 2000, 0, 0, {512, 1024, 600}), (TargetSize{1100, 1024}));
    EXPECT_EQ(size(1537, 10, 1536, 512, 0), (TargetSize{78'694, 512}));
    EXPECT_EQ(size(1537, 10, 1536, 512, 32), (TargetSize{78'720, 512}));
    EXPECT_EQ(size(2073, 2073, 1536, 0, 0), (TargetSize{1535, 1535}));
    EXPECT_EQ(size(49, 49, 1536, 512, 0), (TargetSize{511, 511}));
    EXPECT_FALSE(CanBeSent(size(10, 10, Least, Least, Least)));
    EXPECT_EQ(size(1, 1, Most, Most, Most), (TargetSize{Most, Most}));
    EXPECT_EQ(size(5, 5, 8, 1, -1), (TargetSize{3, 3}));

    EXPECT_EQ(ReduceForUpload(10'000, 6000), (Reduction{5000, 3000, 2}));
    EXPECT_EQ(ReduceForUpload(7001, 7001), (Reduction{7001, 7001, 1}));
    EXPECT_EQ(ReduceForUpload(7072, 7072), (Reduction{3536, 3536, 2}));
    EXPECT_EQ(ReduceForUpload(Most, Most).factor, 1 << 19);
}

TEST(PictureGeometry, CutsRegionsAroundObjects) {
    constexpr Kernel::RectT<int> Document{0, 0, 10'000, 10'000};
    EXPECT_EQ(CutObjectRegion({1000, 1000, 1100, 1100}, Document),
              (ObjectRegion{512, 512, {1, 0, 0, 1, 794, 794}}));
    EXPECT_EQ(CutObjectRegion({3000, 3000, 6000, 4000}, Document),
              (ObjectRegion{1500, 1000, {4, 0, 0, 4, 1500, 1500}}));
    EXPECT_EQ(CutObjectRegion({-7, -7, -2, -2}, {-100, -100, 0, 0}),
              (ObjectRegion{512, 512, {1, 0, 0, 1, -261, -261}}));
    EXPECT_EQ(CutObjectRegion({}, Document), (ObjectRegion{512, 512, {1, 0, 0, 1, -256, -256}}));
    EXPECT_EQ(CutObjectRegion({1, 1, 9, 9}, {500, 500, 0, 0}).placement.dx, -256);
    std::mt19937 random(5);
    for (int i = 0; i < 2000; ++i) {
        const int scale = 1 << std::uniform_int_distribution(4, 31)(random) % 31;
        std::uniform_int_distribution<int> edge(-scale, scale);
        const Kernel::RectT<int> box{edge(random), edge(random), edge(random), edge(random)};
        const Kernel::RectT<int> bounds{edge(random), edge(random), edge(random), edge(random)};
        const ObjectRegion region = CutObjectRegion(box, bounds);
        EXPECT_TRUE(region.width >= 512 && region.width <= 1504) << region.width;
        EXPECT_TRUE(region.height >= 512 && region.height <= 1504) << region.height;
        const Kernel::RectT<int> seen = box.Intersect(bounds);
        const double factor = region.placement.xx;
        if (!box.IsEmpty() && !seen.IsEmpty()) {  // is covered, to within a pixel of the region
            EXPECT_LE(region.placement.dx, seen.left + factor);
            EXPECT_GE(region.placement.dx + factor * region.width, seen.right - factor);
            EXPECT_LE(region.placement.dy, seen.top + factor);
            EXPECT_GE(region.placement.dy + factor * region.height, seen.bottom - factor);
        }
    }
}

}  // namespace
}  // namespace Learning
