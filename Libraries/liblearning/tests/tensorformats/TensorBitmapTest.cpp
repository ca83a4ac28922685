#include "Learning/TensorBitmap.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/Pipeline.h"

#include "inference/ONNXRuntime.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>

namespace Raster {
namespace {

constexpr int Width = 37;
constexpr int Height = 5;
const std::vector<int> Shape{1, Width, Height, Width};  // the same size in both layouts

#define BOTH_LAYOUTS(...) Tensor<__VA_ARGS__, CHW>, Tensor<__VA_ARGS__, HWC>
using Bitmaps = testing::Types<
    BOTH_LAYOUTS(RedF, GreenF, BlueF, X4, X5), BOTH_LAYOUTS(RedF, GreenF, BlueF, AlphaF, X5),
    BOTH_LAYOUTS(RedUF, GreenUF, BlueUF, X4, X5), BOTH_LAYOUTS(IntensityF, X2, X3, X4, X5),
    BOTH_LAYOUTS(LightnessF, AOpponentF, BOpponentF, X4, X5),
    BOTH_LAYOUTS(ChannelOneUF, ChannelTwoUF, ChannelThreeUF, ChannelFourUF, X5)>;

template <class Bitmap>
class TensorBitmap : public testing::Test {
protected:
    static constexpr std::size_t Count = Bitmap::PixelType::ChannelCount;
    static constexpr std::size_t PixelCount = std::size_t{Width} * Height;

    /// Every element differs; some lie outside 0..1.
    TensorBitmap() {
        for (std::size_t i = 0; i < Count * PixelCount; ++i) {
            m_bitmap.SetValueAtIndexedSubscript(i, GetSample(i));
        }
    }

    static float GetSample(std::size_t element) { return static_cast<float>(element) / 100 - 0.5F; }
    /// What a pipeline makes of pixel `i`.
    static std::array<float, 4> GetRGBA(std::size_t i) {
        const auto at = [i](std::size_t channel) { return GetSample(i * Count + channel); };
        return Count == 1 ? std::array{at(0), at(0), at(0), 1.0F}
                          : std::array{at(0), at(1), at(2), Count == 4 ? at(3) : 1.0F};
    }
    static const std::byte* At(const ConstPixelView& view, std::size_t i) {
        return view.At(static_cast<int>(i) % Width, static_cast<int>(i) / Width);
    }

    Bitmap m_bitmap{Shape};
};
TYPED_TEST_SUITE(TensorBitmap, Bitmaps);

/// The name of each channel, ! for a real one, a for alpha, l for a light one.
std::string Summarise(const std::vector<ChannelParams>& channels) {
    std::string text;
    for (const ChannelParams& c : channels) {
        text += c.name.c_str();
        text += std::string(c.isReal ? "!" : "") + (c.isAlpha ? "a " : c.isLight ? "l " : " ");
    }
    return text;
}

TYPED_TEST(TensorBitmap, SaysWhatItIs) {
    static const std::map<std::string, std::string> records{
        {"Tensor<RedF,GreenF,BlueF,Empty,Empty>", "Red!l Green!l Blue!l Empty Empty "},
        {"Tensor<RedF,GreenF,BlueF,AlphaF,Empty>", "Red!l Green!l Blue!l Alpha!a Empty "},
        {"Tensor<RedUF,GreenUF,BlueUF,Empty,Empty>", "Red!l Green!l Blue!l Empty Empty "},
        {"Tensor<IntensityF,Empty,Empty,Empty,Empty>", "Intensity!l Empty Empty Empty Empty "},
        {"Tensor<LightnessF,AOpponentF,BOpponentF,Empty,Empty>",
         "Lightness!l AOpponent! BOpponent! Empty Empty "},
        {"Tensor<ChannelOneUF,ChannelTwoUF,ChannelThreeUF,ChannelFourUF,Empty>",
         "ChannelOne! ChannelTwo! ChannelThree! ChannelFour! Empty "}};
    auto& bitmap = this->m_bitmap;
    const std::string description = TypeParam::GetDescription().c_str();
    ASSERT_TRUE(records.contains(description)) << description;
    EXPECT_EQ(Summarise(bitmap.GetChannelInfo()), records.at(description));
    EXPECT_EQ(TypeParam::GetFormat(), Format::Tensor);
    EXPECT_EQ(bitmap.GetPixelFormat().hasAlpha, description.find("AlphaF") != std::string::npos);
    EXPECT_EQ(bitmap.GetDimensions(), Shape);
    EXPECT_EQ(std::pair(bitmap.GetWidth(), bitmap.GetHeight(3)), std::pair(Width, Height));
    EXPECT_FALSE(bitmap.GetProfile());
}

TYPED_TEST(TensorBitmap, HasPixelsOfNeighbouringElements) {
    auto& bitmap = this->m_bitmap;
    const ConstPixelView view = std::as_const(bitmap).GetHostView();
    typename TypeParam::PixelType pixel;
    for (std::size_t i = 0; i < this->PixelCount; ++i) {
        bitmap.GetPixelAtIndexedSubscript(i, pixel);
        ASSERT_EQ(std::memcmp(this->At(view, i), &pixel, sizeof(pixel)), 0);
        for (std::size_t channel = 0; channel < this->Count; ++channel) {
            ASSERT_EQ(pixel.samples[channel], this->GetSample(this->Count * i + channel));
        }
    }
    pixel.samples.fill(-7);
    bitmap.SetPixelAtIndexedSubscript(11, pixel);
    const std::size_t next = 12 * this->Count;
    EXPECT_EQ(bitmap.GetValueAtIndexedSubscript(next - this->Count), -7);
    EXPECT_EQ(bitmap.GetValueAtIndexedSubscript(next), this->GetSample(next));
}

TYPED_TEST(TensorBitmap, PassesPipelinesUnchangedBothWays) {
    using NoDevice = Hardware<DefaultImplementation>;
    const auto failures = NoDevice::GetFailedKernelCount(nullptr);
    DynamicBitmap floats(Width, Height, Format::RGBAF);
    const Rect all = floats.GetBounds();
    ASSERT_TRUE((Pipeline<DynamicBitmap, TypeParam>::Run(floats, this->m_bitmap, nullptr, all)));
    for (std::size_t i = 0; i < this->PixelCount; ++i) {
        std::array<float, 4> rgba;
        std::memcpy(&rgba, this->At(std::as_const(floats).GetHostView(), i), sizeof(rgba));
        ASSERT_EQ(rgba, this->GetRGBA(i));
    }
    TypeParam back(Shape);
    ASSERT_TRUE((Pipeline<TypeParam, DynamicBitmap>::Run(back, floats, nullptr, all)));
    for (std::size_t i = 0; i < this->Count * this->PixelCount; ++i) {
        ASSERT_EQ(back.GetValueAtIndexedSubscript(i), this->GetSample(i));
    }
    EXPECT_EQ(NoDevice::GetFailedKernelCount(nullptr), failures + 2);

    DynamicBitmap bytes(Width, Height);
    DynamicBitmap result(Width, Height);
    ASSERT_TRUE((Pipeline<DynamicBitmap, TypeParam>::Run(bytes, this->m_bitmap, nullptr, all)));
    ASSERT_TRUE((Pipeline<TypeParam, DynamicBitmap>::Run(back, bytes, nullptr, all)));
    ASSERT_TRUE((Pipeline<DynamicBitmap, TypeParam>::Run(result, back, nullptr, all)));
    EXPECT_TRUE(result.IsEqual(bytes));
}

TYPED_TEST(TensorBitmap, IsWrittenWithinTheRectangleOnly) {
    const Rect inside{1, 1, Width - 1, Height - 1};
    TypeParam zeroed(Shape);
    std::memcpy(zeroed.GetHostView().pixels, this->m_bitmap.GetHostView().pixels,
                this->Count * this->PixelCount * sizeof(float));
    DynamicBitmap black(Width, Height, Format::RGBAF);
    ASSERT_TRUE((Pipeline<TypeParam, DynamicBitmap>::Run(zeroed, black, nullptr, inside)));
    for (std::size_t i = 0; i < this->Count * this->PixelCount; ++i) {
        const auto x = static_cast<int>(i / this->Count % Width);
        const auto y = static_cast<int>(i / this->Count / Width);
        const bool isInside = inside.Intersect({x, y, x + 1, y + 1}) == Rect{x, y, x + 1, y + 1};
        ASSERT_EQ(zeroed.GetValueAtIndexedSubscript(i), isInside ? 0 : this->GetSample(i)) << i;
    }
}

TYPED_TEST(TensorBitmap, IsMirroredPixelByPixel) {
    Rendering mirror;
    mirror.transform = AffineTransform::Params{-1, 0, 0, 1, Width, 0};
    TypeParam mirrored(Shape);
    DynamicBitmap floats(Width, Height, Format::RGBAF);
    const Rect all = floats.GetBounds();
    ASSERT_TRUE(
        (Pipeline<TypeParam, TypeParam>::Run(mirrored, this->m_bitmap, nullptr, all, mirror)));
    ASSERT_TRUE((Pipeline<DynamicBitmap, TypeParam>::Run(floats, mirrored, nullptr, all, mirror)));
    for (std::size_t i = 0; i < this->PixelCount; ++i) {
        std::array<float, 4> rgba;
        std::memcpy(&rgba, this->At(std::as_const(floats).GetHostView(), i), sizeof(rgba));
        ASSERT_EQ(rgba, this->GetRGBA(i));
    }
}

using RGB = Tensor<RedF, GreenF, BlueF, X4, X5, CHW>;
using RGBAcross = Tensor<RedF, GreenF, BlueF, X4, X5, HWC>;

TEST(TensorBitmapDevice, HasNeitherCopyNorCacheNorHash) {
    RGB bitmap(Shape);
    constexpr auto OpenCL = HardwareKernelLanguage::OpenCL;
    EXPECT_EQ(bitmap.Clone(nullptr), nullptr);
    EXPECT_EQ(bitmap.CloneEmpty(), nullptr);
    EXPECT_FALSE(bitmap.IsEqual(bitmap));
    Kernel::HashAccumulator hash;
    bitmap.AccumulateHashFast(hash);
    EXPECT_EQ(hash.GetHash(), Kernel::HashAccumulator().GetHash());
    EXPECT_EQ(static_cast<int>(bitmap.CheckForCorruptions(true)), 1);
    EXPECT_EQ(static_cast<int>(bitmap.FixCorruptions()), 1);
    EXPECT_EQ(bitmap.GetThreadLimit(), 0);
    EXPECT_EQ(bitmap.GetHardwareDevice(), nullptr);
    EXPECT_EQ(bitmap.GetHardwareWriteQueue(), 0U);
    float param = 7;
    unsigned char byte = 7;
    EXPECT_EQ(bitmap.GetHardwareParams(nullptr, &param), 0);
    EXPECT_FALSE(bitmap.GetHardwareFillByte(byte));
    EXPECT_TRUE(param == 7 && byte == 7);
    EXPECT_EQ(bitmap.GetSourceHardwareFragment(OpenCL), nullptr);
    EXPECT_EQ(bitmap.GetDestHardwareFragment(OpenCL), nullptr);
    EXPECT_EQ(bitmap.GetMaskHardwareFragment(OpenCL), nullptr);
    EXPECT_EQ(bitmap.GetPixelFormat().getSourceFragment(OpenCL), nullptr);
    EXPECT_EQ(bitmap.GetPixelFormat().getDestFragment(OpenCL), nullptr);
    EXPECT_EQ(bitmap.GetPixelFormat().getMaskFragment(OpenCL), nullptr);
    EXPECT_TRUE(bitmap.SyncHardwareCache(nullptr, nullptr, false, nullptr));
    EXPECT_EQ(bitmap.RetainHardwareBuffer(nullptr), nullptr);
}

template <class Bitmap>
std::pair<int, int> SizeOf(const Bitmap& bitmap) {
    return {bitmap.GetWidth(), bitmap.GetHeight()};
}

TEST(TensorBitmapShape, IsReadFromTheLastThreeDimensions) {
    EXPECT_EQ(SizeOf(RGB({1, 3, 224, 200})), std::pair(200, 224));
    EXPECT_EQ(SizeOf(RGB({640, 480})), std::pair(1, 480));
    EXPECT_EQ(SizeOf(RGBAcross({2, 5, 7})), std::pair(2, 5));
    EXPECT_EQ(SizeOf(RGBAcross({9, 9, 2, 5, 7})), std::pair(2, 5));
    EXPECT_EQ(SizeOf(RGBAcross({640, 480})), std::pair(640, 480));
    EXPECT_EQ(RGBAcross({640, 480}).GetDimensions(), (std::vector{640, 480}));
    EXPECT_THROW(RGB(std::vector<int>{}), std::invalid_argument);
    EXPECT_THROW(RGB({3}), std::invalid_argument);
    EXPECT_THROW(RGB({-1, 2, 2}), Ort::Exception);
}

TEST(TensorBitmapShape, IsRefusedWhereItHasFewerElementsThanPixels) {
    const DynamicBitmap bytes(2, 5);
    RGBAcross thin({2, 5, 1});
    const auto run = Pipeline<RGBAcross, DynamicBitmap>::Run;
    EXPECT_THROW(run(thin, bytes, nullptr, bytes.GetBounds(), {}, nullptr), std::length_error);
    RGB bitmap({3, 5, 2});
    bitmap.CreatePlatformTensor({3, 5});
    EXPECT_THROW(bitmap.GetHostView(), std::length_error);
    bitmap.DestroyPlatformTensor();
    EXPECT_THROW(std::as_const(bitmap).GetHostView(), std::length_error);
}

TEST(TensorBitmapElements, AreSharedWithSourcesAndCopies) {
    const auto source = Kernel::MakeCounted<Learning::Tensor>(std::vector{1, 3, 4, 6}, 0.0F);
    const RGB bitmap(source);
    auto copy = Kernel::MakeCounted<RGB>(bitmap);
    RGB assigned({3, 1, 1});
    assigned = bitmap;
    source->SetValueAtIndexedSubscript(5, 8);
    for (const RGB& each : {bitmap, *copy, assigned}) {
        EXPECT_EQ(each.GetValueAtIndexedSubscript(5), 8);
        EXPECT_EQ(SizeOf(each), std::pair(6, 4));
        EXPECT_EQ(each.GetDimensions(), (std::vector{1, 3, 4, 6}));
        EXPECT_EQ(each.GetReferenceCount(), 1);
    }
    EXPECT_THROW(RGB(Kernel::Counted<Learning::Tensor>()), std::invalid_argument);
    source->DestroyPlatformTensor();
    EXPECT_THROW(RGB{source}, Ort::Exception);
    EXPECT_EQ(bitmap.GetValueAtIndexedSubscript(5), 8);
}

}  // namespace
}  // namespace Raster
