#include "Kernel/Dispatch.h"
#include "Kernel/Testing.h"
#include "Raster/Bitmap.h"
#include "Raster/ICCManager.h"
#include "Raster/PixelAccessor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <span>
#include <stdexcept>

namespace Raster {
namespace {

using ColourBitmap = Bitmap<Red8, Green8, Blue8, Alpha8, X5>;
using Trace = Kernel::Testing::Recorded<Kernel::Trace>;

void Fill(const PixelView& view, std::byte value) {
    for (int y = 0; y < view.height; ++y) {
        std::memset(view.At(0, y), static_cast<int>(value), view.At(view.width, 0) - view.At(0, 0));
    }
}

std::uint64_t GetHash(const DynamicBitmap& bitmap) {
    Kernel::HashAccumulator hash;
    bitmap.AccumulateHashFast(hash);
    return hash.GetHash();
}

using F = Format;
class BitmapOfFormat : public testing::TestWithParam<F> {};
INSTANTIATE_TEST_SUITE_P(All, BitmapOfFormat,
                         testing::Values(F::RGBA8, F::RGBA16, F::RGBAF, F::GreyA8, F::GreyA16,
                                         F::CMYKA8, F::LabA16, F::Alpha8, F::Alpha16, F::AlphaF));

TEST_P(BitmapOfFormat, AlignsItsRowsAndStartsTransparent) {
    const DynamicBitmap bitmap(37, 5, GetParam());
    const ConstPixelView view = bitmap.GetHostView();
    const std::ptrdiff_t rowSize = view.At(37, 0) - view.pixels;
    EXPECT_EQ(view.format, &GetPixelFormat(GetParam()));
    EXPECT_EQ(view.stride, (rowSize + 63) / 64 * 64);
    EXPECT_NE(DynamicBitmap(4096, 1, GetParam()).GetHostView().stride % 4096, 0);
    EXPECT_EQ(std::bit_cast<std::uintptr_t>(view.pixels) % 64, 0U);
    EXPECT_THAT(std::span(view.pixels, static_cast<std::size_t>(view.stride) * 5),
                testing::Each(std::byte{0}));
}

TEST_P(BitmapOfFormat, IsEqualByItsPixelsAlone) {
    DynamicBitmap bitmap(37, 5, GetParam());
    Fill(PixelAccessor(bitmap).GetView(), std::byte{0x35});
    const Kernel::Counted<DynamicBitmap> clone = bitmap.Clone();
    ASSERT_TRUE(clone);
    *clone->GetHostView().At(37, 4) = std::byte{1};  // after the last pixel
    EXPECT_TRUE(clone->IsEqual(bitmap));
    EXPECT_EQ(GetHash(*clone), GetHash(bitmap));

    *(clone->GetHostView().At(37, 4) - 1) ^= std::byte{1};
    EXPECT_FALSE(clone->IsEqual(bitmap));
    EXPECT_NE(GetHash(*clone), GetHash(bitmap));
    EXPECT_FALSE(bitmap.CloneEmpty()->IsEqual(bitmap));
}

TEST(DynamicBitmap, IsNotEqualToTheSameBytesInAnotherOrder) {
    const DynamicBitmap bitmap(6, 3, F::GreyA8);
    const DynamicBitmap others[]{{3, 6, F::GreyA8}, {6, 3, F::Alpha16}};
    for (const DynamicBitmap& other : others) {
        EXPECT_FALSE(bitmap.IsEqual(other));
        EXPECT_NE(GetHash(bitmap), GetHash(other));
    }
}

TEST(DynamicBitmap, IsAllNewAfterCreateUnlessASizeIsRefused) {
    DynamicBitmap bitmap(2, 1);
    bitmap.SetProfile(ICCManager::GetProfileForString("sRGB IEC61966-2.1"));
    const PixelView before = bitmap.GetHostView();
    EXPECT_THROW(bitmap.Create(-1, 1), std::invalid_argument);
    EXPECT_THROW(bitmap.Create(1, DynamicBitmap::MaximumSide + 1), std::invalid_argument);
    EXPECT_THROW(bitmap.Create(1, 1, Format::Tensor), std::invalid_argument);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // The sanitizers end the process instead of returning null from calloc().
    EXPECT_THROW(bitmap.Create(DynamicBitmap::MaximumSide, DynamicBitmap::MaximumSide),
                 std::bad_alloc);
#endif
    EXPECT_EQ(bitmap.GetHostView().pixels, before.pixels);
    EXPECT_TRUE(bitmap.GetProfile());
    bitmap.Create(2, 1, Format::CMYKA8);
    EXPECT_FALSE(bitmap.GetProfile());

    Bitmap<Alpha8, X2, X3, X4, X5> mask;
    mask.Create(2, 1);
    DynamicBitmap& anyMask = mask;
    EXPECT_THROW(anyMask.Create(3, 1), std::invalid_argument);  // RGBA8
    EXPECT_EQ(anyMask.GetHostView().format, &mask.GetStaticFormat());
    EXPECT_EQ(anyMask.GetWidth(), 2);
    anyMask.Create(3, 1, Format::Alpha8);
    EXPECT_EQ(anyMask.GetWidth(), 3);
}

TEST(DynamicBitmap, MayHaveNoPixels) {
    for (const auto& [width, height] : {std::pair{0, 0}, {5, 0}, {0, 5}}) {
        const DynamicBitmap bitmap(width, height, Format::RGBAF, MipmapMode::OnDemand);
        EXPECT_TRUE(bitmap.Clone()->IsEqual(bitmap));
        EXPECT_EQ(bitmap.GetAlphaBoundingBox(), Rect{});
        EXPECT_EQ(bitmap.GetInverseAlphaBoundingBox(), EmptyRect);
        EXPECT_FALSE(bitmap.GetLevel(1));
    }
}

TEST(DynamicBitmap, ClonesAllThatItIsUnlessAborted) {
    ColourBitmap bitmap(3, 2, MipmapMode::OnDemand, HardwareCachePolicy::Never);
    bitmap.SetProfile(ICCManager::GetProfileForString("sRGB IEC61966-2.1"));
    const DynamicBitmap& dynamic = bitmap;
    const Kernel::Counted<DynamicBitmap> clones[]{bitmap.Clone(), bitmap.CloneEmpty(),
                                                  dynamic.Clone(), dynamic.CloneEmpty()};
    for (const Kernel::Counted<DynamicBitmap>& clone : clones) {
        EXPECT_EQ(clone->GetMipmapMode(), MipmapMode::OnDemand);
        EXPECT_EQ(clone->GetHardwareCachePolicy(), HardwareCachePolicy::Never);
        EXPECT_EQ(clone->GetProfile(), bitmap.GetProfile());
    }
    bool abort = true;
    EXPECT_FALSE(bitmap.Clone(&abort));
    EXPECT_FALSE(dynamic.Clone(&abort));
}

/// Fills with 7, then calls `meanwhile`.
class Loader : public DelayLoader {
public:
    explicit Loader(std::function<void()> meanwhile) : m_meanwhile(std::move(meanwhile)) {}
    void Load(const PixelView& pixels, const bool* /*abort*/) override {
        EXPECT_EQ(*pixels.At(0, 0), std::byte{0});
        Fill(pixels, std::byte{7});
        m_meanwhile();
    }

private:
    std::function<void()> m_meanwhile;
};

TEST(DelayLoad, HappensOnceHoweverManyReadAtATime) {
    DynamicBitmap bitmap(200, 200);
    int loads = 0;
    bitmap.SetDelayLoader(std::make_unique<Loader>([&] {
        Kernel::Dispatch::Sleep(std::chrono::milliseconds(20));
        ++loads;
    }));
    const Trace trace;
    std::array<std::byte, 8> seen{};
    Kernel::Dispatch::DispatchParallelFor(
        [&](std::byte& pixel) {
            bitmap.SyncHostCache(nullptr, false, nullptr);
            pixel = *std::as_const(bitmap).GetHostView().At(199, 199);
        },
        seen.size(), seen.data(), Kernel::Dispatch::Priority::Normal,
        Kernel::Dispatch::ThreadPurpose::Pixels, 1);
    EXPECT_EQ(loads, 1);
    EXPECT_THAT(seen, testing::Each(std::byte{7}));
    EXPECT_THAT(trace.GetMessages(), testing::IsEmpty());
}

TEST(DelayLoad, StaysPendingUntilAnAttemptSucceeds) {
    const Trace trace;
    DynamicBitmap bitmap(2, 2);
    *bitmap.GetHostView().At(0, 0) = std::byte{9};  // which a loader does not see
    bool abort = false;
    int loads = 0;
    bitmap.SetDelayLoader(std::make_unique<Loader>([&] {
        abort = ++loads == 1;
        if (loads == 2) {
            throw std::runtime_error("damaged");
        }
    }));
    bitmap.ForceDelayLoad(&abort);
    EXPECT_TRUE(bitmap.IsPendingDelayLoad());
    EXPECT_THROW(ConstPixelAccessor{bitmap}, std::runtime_error);
    EXPECT_TRUE(bitmap.IsPendingDelayLoad());
    EXPECT_EQ(*ConstPixelAccessor(bitmap).GetView().At(1, 1), std::byte{7});
    EXPECT_FALSE(bitmap.IsPendingDelayLoad());
    const Kernel::String text(
        "Bitmap<> is performing a blocking, abortable delay-load in response to a non-pipeline "
        "ConstPixelAccessor session - you should try to avoid this.\r\n");
    EXPECT_THAT(trace.GetMessages(), testing::ElementsAre(text, text));  // not by ForceDelayLoad()
}

TEST(Mipmaps, HalveUpToASinglePixelAndFollowTheirBitmap) {
    DynamicBitmap bitmap(13, 6, Format::RGBA8, MipmapMode::OnDemand);
    Fill(PixelAccessor(bitmap).GetView(), std::byte{40});
    const std::array sizes{Rect{0, 0, 7, 3}, Rect{0, 0, 4, 2}, Rect{0, 0, 2, 1}, Rect{0, 0, 1, 1}};
    for (int level = 4; level > 0; --level) {
        const Rect& size = sizes[static_cast<std::size_t>(level - 1)];
        EXPECT_EQ(bitmap.GetLevel(level)->GetBounds(), size);
        EXPECT_EQ((Rect{0, 0, bitmap.GetWidth(level), bitmap.GetHeight(level)}), size);
    }
    EXPECT_FALSE(bitmap.GetLevel(0));
    EXPECT_FALSE(bitmap.GetLevel(5));
    EXPECT_EQ(bitmap.GetWidth(-1), 13);
    EXPECT_EQ(bitmap.GetHeight(70), 1);
    EXPECT_EQ(*bitmap.GetLevel(4)->GetHostView().At(0, 0), std::byte{40});
    Fill(PixelAccessor(bitmap).GetView(), std::byte{90});
    EXPECT_EQ(*bitmap.GetLevel(4)->GetHostView().At(0, 0), std::byte{90});
    bitmap.SetProfile(ICCManager::GetProfileForString("sRGB IEC61966-2.1"));
    EXPECT_EQ(bitmap.GetLevel(4)->GetProfile(), bitmap.GetProfile());
}

TEST(Mipmaps, AreMeans) {
    DynamicBitmap bitmap(4, 1, Format::Alpha8, MipmapMode::OnDemand);
    constexpr std::array<std::uint8_t, 4> Alphas{0, 80, 200, 40};
    std::memcpy(PixelAccessor(bitmap).GetView().pixels, Alphas.data(), Alphas.size());
    EXPECT_EQ(*bitmap.GetLevel(1)->GetHostView().At(1, 0), std::byte{120});
    EXPECT_EQ(*bitmap.GetLevel(2)->GetHostView().At(0, 0), std::byte{80});
}

TEST(Corruptions, AreSamplesThatAreNoNumbers) {
    for (const int row : {0, 1}) {
        DynamicBitmap bitmap(3, 2, Format::RGBAF);
        auto* const last = reinterpret_cast<float*>(bitmap.GetHostView().At(2, row));
        last[0] = last[1] = 2;
        EXPECT_EQ(bitmap.CheckForCorruptions(true), Kernel::FixCorruptionsResult::Sound);
        last[2] = std::numeric_limits<float>::quiet_NaN();
        last[3] = -std::numeric_limits<float>::infinity();
        EXPECT_EQ(bitmap.CheckForCorruptions(false), Kernel::FixCorruptionsResult::Sound);
        EXPECT_EQ(bitmap.CheckForCorruptions(true), Kernel::FixCorruptionsResult::Damaged);
        EXPECT_EQ(bitmap.FixCorruptions(), Kernel::FixCorruptionsResult::Repaired);
        EXPECT_THAT(std::span(last, 4), testing::ElementsAre(2, 2, 0, 0));
    }
}

}  // namespace
}  // namespace Raster
