#include "Learning/TensorImages.h"
#include "Raster/Stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Learning {
namespace {

using Raster::DynamicBitmap;
using Area = Kernel::RectT<double>;

void PaintNoise(DynamicBitmap& bitmap) {
    std::minstd_rand random;
    const Raster::PixelView view = bitmap.GetHostView();
    std::generate_n(view.pixels, view.stride * view.height,
                    [&random] { return static_cast<std::byte>(random() >> 16); });
}

int GetByte(const DynamicBitmap& bitmap, int x, int y, int i) {
    return std::to_integer<int>(bitmap.GetHostView().At(x, y)[i]);
}

/// One of the four bytes of a pixel over 255, or luma for a channel of -1; 0 where alpha is 0.
float GetChannel(const DynamicBitmap& bitmap, int x, int y, int channel) {
    const int isVisible = GetByte(bitmap, x, y, 3) > 0 ? 1 : 0;
    const auto at = [&](int i) {
        return static_cast<float>(isVisible * GetByte(bitmap, x, y, i)) / 255.0F;
    };
    return channel < 0 ? 0.299F * at(0) + 0.587F * at(1) + 0.114F * at(2) : at(channel);
}

TEST(TensorImages, FollowTheRuleInBothAxisOrdersAndBack) {
    const std::pair<TensorChannels, std::vector<int>> cases[] = {
        {TensorChannels::Grey, {-1}},         {TensorChannels::Alpha, {3}},
        {TensorChannels::RGB, {0, 1, 2}},     {TensorChannels::BGR, {2, 1, 0}},
        {TensorChannels::RGBA, {0, 1, 2, 3}},
    };
    DynamicBitmap photo(151, 270);
    PaintNoise(photo);
    TensorMapping mapping{.tensorArea = Raster::Rect{3, 2, 3 + 140, 2 + 260},
                          .pictureArea = Area{5, 7, 5 + 140, 7 + 260}};
    mapping.mappings = {{{255, 123.675F, 58.395F}, {2, 1, 1}, {}, {1, 0.5F, 0.25F}}};
    for (int i = 0; i < 10; ++i) {
        const bool isCHW = i % 2 == 0;
        const auto& [channels, picks] = cases[i / 2];
        mapping.channels = channels;
        const int count = static_cast<int>(picks.size());
        const std::vector<int> shape =
            isCHW ? std::vector{1, count, 265, 150} : std::vector{1, 265, 150, count};
        Tensor tensor(shape, -9.0F);
        Tensor again(shape, -9.0F);
        DynamicBitmap back(151, 270);
        (isCHW ? FillTensorCHW : FillTensorHWC)(tensor, photo, mapping);
        (isCHW ? ReadTensorCHW : ReadTensorHWC)(tensor, back, mapping);
        (isCHW ? FillTensorCHW : FillTensorHWC)(again, back, mapping);
        for (int element = 0; element < count * 265 * 150; ++element) {
            const auto channel =
                static_cast<std::size_t>(isCHW ? element / (265 * 150) : element % count);
            const int pixel = isCHW ? element % (265 * 150) : element / count;
            const int x = pixel % 150;
            const int y = pixel / 150;
            const auto& [range, mean, deviation] = mapping.mappings[channel];
            const int pick = picks[channel];
            const bool isInside = x >= 3 && x < 143 && y >= 2 && y < 262;
            const float expected =
                isInside ? (GetChannel(photo, x + 2, y + 5, pick) * range - mean) / deviation : -9;
            const auto at = static_cast<std::uint64_t>(element);
            ASSERT_EQ(tensor.GetValueAtIndexedSubscript(at), expected) << i << ": " << element;
            ASSERT_NEAR(again.GetValueAtIndexedSubscript(at), expected,
                        pick < 0 ? 0.51 / 255 * range / deviation : 0);
        }
        EXPECT_EQ(GetByte(back, 5, 7, 3), picks.back() == 3 ? GetByte(photo, 5, 7, 3) : 255);
        EXPECT_EQ(GetByte(back, 4, 7, 3), 0);
    }
}

TEST(TensorImages, AreExactWhereTheyGoAroundTheCache) {
    constexpr int Width = 1048;  // every other row is aligned
    constexpr int Height = 700;
    DynamicBitmap photo(Width, Height);
    DynamicBitmap back(Width, Height);
    Tensor planes({3, Height, Width});
    PaintNoise(photo);
    FillTensorCHW(planes, photo);
    ReadTensorCHW(planes, back);
    for (int i = 0; i < 3 * Width * Height; ++i) {
        const int x = i % Width;
        const int y = i / Width % Height;
        const int channel = i / (Width * Height);
        const auto at = static_cast<std::uint64_t>(i);
        ASSERT_EQ(planes.GetValueAtIndexedSubscript(at), GetChannel(photo, x, y, channel));
        ASSERT_EQ(GetByte(back, x, y, channel),
                  std::lround(255 * GetChannel(photo, x, y, channel)));
    }
}

TEST(TensorImages, NeverShowErasedColours) {
    for (const auto format : {Raster::Format::RGBA8, Raster::Format::RGBA16, Raster::Format::RGBAF,
                              Raster::Format::GreyA8}) {
        DynamicBitmap erased(30, 1, format);
        for (int x = 0; x < 30; ++x) {  // white, opaque at the right
            alignas(64) const std::array colour{1.0F, 1.0F, 1.0F, x < 20 ? 0.0F : 1.0F};
            erased.GetPixelFormat().write(colour.data(), erased.GetHostView().At(x, 0), 1);
        }
        for (const int width : {30, 15, 60}) {
            for (const auto sampler : {Raster::Sampler::Nearest, Raster::Sampler::Bicubic}) {
                Tensor planes({3, 1, width});
                Tensor pixels({1, width, 4});
                FillTensorCHW(planes, erased, {.sampler = sampler});
                FillTensorHWC(pixels, erased, {.sampler = sampler});
                for (std::uint64_t x = 0; x < static_cast<std::uint64_t>(width); ++x) {
                    const bool isVisible = pixels.GetValueAtIndexedSubscript(x * 4 + 3) > 0;
                    EXPECT_EQ(pixels.GetValueAtIndexedSubscript(x * 4) > 0, isVisible) << x;
                    EXPECT_EQ(planes.GetValueAtIndexedSubscript(x) > 0, isVisible) << x;
                }
            }
        }
    }
}

TEST(TensorImages, ApplyStagesOnBothWays) {
    DynamicBitmap photo(40, 30);
    DynamicBitmap back(40, 30);
    PaintNoise(photo);
    const TensorMapping grey{.stages = {Raster::CreateAlphaToGreyStage()}};
    Tensor planes({4, 30, 40});
    FillTensorCHW(planes, photo, grey);
    for (std::uint64_t i = 0; i < 4 * 1200; ++i) {
        const int at = static_cast<int>(i % 1200);
        const float alpha = GetChannel(photo, at % 40, at / 40, 3);
        EXPECT_EQ(planes.GetValueAtIndexedSubscript(i), i < 3 * 1200 ? alpha : 1);
    }
    FillTensorCHW(planes, photo);
    ReadTensorCHW(planes, back, grey);
    for (int i = 0; i < 1200; ++i) {
        EXPECT_EQ(GetByte(back, i % 40, i / 40, 1), GetByte(photo, i % 40, i / 40, 3));
    }
    EXPECT_EQ(back.GetInverseAlphaBoundingBox(), Raster::EmptyRect);
}

TEST(TensorImages, RoundAndBoundWhatTheyRead) {
    const std::pair<float, int> cases[] = {{-0.1F, 0},          {1.7F, 255},        {INFINITY, 255},
                                           {-INFINITY, 0},      {NAN, 0},           {0.5F / 255, 1},
                                           {0.49999F / 255, 0}, {127.5F / 255, 128}};
    for (const auto& [value, byte] : cases) {
        DynamicBitmap bitmap(33, 1);
        ReadTensorCHW(Tensor({3, 1, 33}, value), bitmap);
        EXPECT_TRUE(GetByte(bitmap, 0, 0, 2) == byte && GetByte(bitmap, 32, 0, 2) == byte) << value;
    }
}

TEST(TensorImages, ShrinkFinePatternsToTheirMeanAndEnlargeWithoutFadingEdges) {
    Tensor pattern({240, 320, 1});
    for (std::uint64_t i = 0; i < 320 * 240; ++i) {
        pattern.SetValueAtIndexedSubscript(i, static_cast<float>((i % 320 + i / 320) % 2));
    }
    DynamicBitmap photo(320, 240);
    ReadTensorHWC(pattern, photo);
    Tensor small({4, 17, 23});
    FillTensorCHW(small, photo);
    for (std::uint64_t i = 0; i < 4 * 17 * 23; ++i) {
        EXPECT_NEAR(small.GetValueAtIndexedSubscript(i), i < 3 * 17 * 23 ? 0.5 : 1, 0.02);
    }
    photo.Create(100, 100);
    ReadTensorCHW(small, photo);
    EXPECT_EQ(photo.GetInverseAlphaBoundingBox(), Raster::EmptyRect);
}

TEST(TensorImages, KeepToTheirPartOfThePicture) {
    DynamicBitmap photo(6, 6);
    const Raster::PixelView view = photo.GetHostView();
    std::fill_n(view.pixels, view.stride * view.height, std::byte{200});
    ReadTensorCHW(Tensor({4, 7, 7}, 0.0F), photo, {.pictureArea = Area{0.6, 1.5, 4.4, 5}});
    for (int i = 0; i < 36; ++i) {
        const int x = i % 6;
        const int y = i / 6;
        const bool isInside = x >= 1 && x < 4 && y >= 2 && y < 5;  // by its centre
        EXPECT_EQ(GetByte(photo, x, y, 3), isInside ? 0 : 200) << x << ',' << y;
    }
    Tensor alpha({1, 5, 8});
    FillTensorCHW(alpha, photo,
                  {.channels = TensorChannels::Alpha, .pictureArea = Area{1, 2, 4, 5}});
    for (std::uint64_t i = 0; i < 40; ++i) {
        EXPECT_EQ(alpha.GetValueAtIndexedSubscript(i), 0);
    }
}

TEST(TensorImages, RefuseWhatHasNoMeaning) {
    DynamicBitmap photo(4, 3);
    const std::pair<std::vector<int>, TensorMapping> cases[] = {
        {{}, {}},
        {{2, 3, 4, 4}, {}},
        {{3, 0, 4}, {}},
        {{3, 2, 2}, {.channels = TensorChannels::Grey}},
        {{3, 2, 2}, {.mappings = {{{1, 0, 0}}}}},
        {{3, 2, 2}, {.mappings = {{{0, 0, 1}}}}},
        {{3, 2, 2}, {.mappings = {{{}, {}, {1, 0, NAN}}}}},
        {{3, 2, 2}, {.tensorArea = Raster::Rect{0, 0, 3, 2}}},
        {{3, 2, 2}, {.pictureArea = Area{-0.1, 0, 4, 3}}},
        {{3, 2, 2}, {.pictureArea = Area{0, -0.1, 4, 3}}},
        {{3, 2, 2}, {.pictureArea = Area{0, 0, 4.1, 3}}},
        {{3, 2, 2}, {.pictureArea = Area{0, 0, 4, 3.1}}},
        {{3, 2, 2}, {.pictureArea = Area{0, 0, NAN, 3}}},
        {{3, 2, 2}, {.pictureArea = Area{0, 0, 1e-310, 1}}}};
    for (const auto& [shape, mapping] : cases) {
        Tensor tensor(shape, 5.0F);
        EXPECT_THROW(FillTensorCHW(tensor, photo, mapping), std::invalid_argument);
        EXPECT_THROW(ReadTensorCHW(tensor, photo, mapping), std::invalid_argument);
    }
    Tensor tensor({3, 2, 2});
    EXPECT_THROW(FillTensorHWC(tensor, DynamicBitmap()), std::invalid_argument);
    tensor.DestroyPlatformTensor();
    EXPECT_THROW(FillTensorCHW(tensor, photo), std::invalid_argument);
}

}  // namespace
}  // namespace Learning
