#include "Raster/Compositing.h"

#include "tests/bitmaps/Noise.h"
#include "tests/colour/Profiles.h"
#include "tests/colour/SwappedProfile.h"
#include "tests/formats/EveryFormat.h"
#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Raster::Testing {
namespace {

TEST(Compositing, LeavesAloneWhatItDoesNotTouch) {
    for (const Format format : {Format::RGBA8, Format::CMYKA8, Format::LabA16}) {
        const auto picture = MakeBytes(300, 280, format, 4);
        const auto result = picture->Clone();
        const DynamicBitmap nothing(50, 50, format);
        EXPECT_TRUE(CompositeOver(*result, nothing, {1, 0.5, 0, 1, 7.5, 8}, 1));
        EXPECT_TRUE(CompositeOver(*result, *picture, {2, 0, 0, 2, -650, 0}, 1));
        EXPECT_TRUE(Render(*result, *picture, {}, Sampler::Lanczos));
        EXPECT_TRUE(BoxFilter(*picture, 0)->IsEqual(*result) && result->IsEqual(*picture));
        CopyTally tally;
        const auto wide = AddBorder(*picture, 9);
        EXPECT_TRUE(CopyWithTally(*wide, {-5, -5, 350, 350}, tally)->GetWidth() == 355);
        std::array<std::uint64_t, 3> counts{};
        for (int i = 0; i < 318 * 298; ++i) {
            const float alpha = GetColour(*wide, i)[3];
            ++counts[alpha == 1 ? 2 : alpha > 0 ? 1 : 0];
        }
        EXPECT_EQ(counts, (std::array{tally.transparent, tally.translucent, tally.opaque}));
        EXPECT_TRUE(AddBorder(*wide, -9)->IsEqual(*picture));
        EXPECT_EQ(AddBorder(*wide, -149)->GetWidth(), 0);
        EXPECT_TRUE(Resize(*picture, 300, 280, format, Sampler::Bicubic)->IsEqual(*picture));
        const auto doubled = Resize(*picture, 600, 560, format, Sampler::Nearest);
        EXPECT_TRUE(Resize(*doubled, 300, 280, format, Sampler::Nearest)->IsEqual(*picture));
        EXPECT_TRUE(CompositeDestinationIn(*result, DynamicBitmap(20, 300, Format::Alpha8)));
        EXPECT_TRUE(result->GetAlphaBoundingBox().IsEmpty());
        EXPECT_FALSE(JoinAlpha(*picture, *wide));
        const auto alpha = MakeBytes(300, 280, Format::Alpha8, 8);
        const auto joined = JoinAlpha(*picture, *alpha);
        for (int i = 0; i < 300 * 280; ++i) {
            ASSERT_NEAR(GetColour(*joined, i)[3], GetColour(*alpha, i)[3], 1e-6);
        }
    }
    bool abort = true;
    CopyTally untouched{1, 2, 3};
    EXPECT_FALSE(
        CopyWithTally(*MakeNoise(9, 9, Format::RGBA8, 5), {0, 0, 9, 9}, untouched, &abort));
    EXPECT_EQ(untouched.transparent, 1U);
    EXPECT_FALSE(BoxFilter(*MakeNoise(9, 9, Format::RGBA8, 5), 3, &abort));
    EXPECT_FALSE(
        Resize(*MakeNoise(9, 9, Format::RGBA8, 5), 4, 4, Format::RGBA8, Sampler::Area, &abort));
}

TEST(Compositing, CountsAndReplacesAlphaInPlace) {
    for (const PixelFormat* format : GetHostFormats()) {
        const auto picture = MakeNoise(301, 270, format->code, 6);
        std::vector<int> kinds(301 * 270);  // 0: transparent, 2: opaque
        for (int i = 0; i < 301 * 270; ++i) {
            const float alpha = GetColour(*picture, i)[3];
            kinds[i] = alpha >= 1 ? 2 : alpha > 0 ? 1 : 0;
        }
        for (const Rect& rect : {Rect{0, 0, 301, 270},
                                 {7, 200, 140, 230},
                                 {-5, -9, 3, 2},
                                 {4, 4, 4, 9},
                                 {-9, -9, 999, 0}}) {
            std::array<std::uint64_t, 3> counts{};
            for (int y = std::max(rect.top, 0); y < std::min(rect.bottom, 270); ++y) {
                for (int x = std::max(rect.left, 0); x < std::min(rect.right, 301); ++x) {
                    ++counts[kinds[y * 301 + x]];
                }
            }
            ForTargets([&] {
                CopyTally tally{9, 9, 9};
                EXPECT_TRUE(TallyAlpha(*picture, rect, tally));
                EXPECT_EQ(counts, (std::array{tally.transparent, tally.translucent, tally.opaque}));
            });
        }
        const auto alpha = MakeNoise(301, 270, Format::GreyA8, 7);
        const auto joined = JoinAlpha(*picture, *alpha);
        const auto* const pixels = picture->GetHostView().pixels;
        EXPECT_TRUE(SetAlpha(*picture, *alpha) && picture->IsEqual(*joined));
        EXPECT_EQ(picture->GetHostView().pixels, pixels);
        EXPECT_FALSE(SetAlpha(*picture, *AddBorder(*alpha, 1)));
        bool abort = true;
        CopyTally untouched{1, 2, 3};
        EXPECT_FALSE(SetAlpha(*picture, *MakeNoise(301, 270, Format::Alpha8, 8), &abort));
        EXPECT_FALSE(TallyAlpha(*picture, picture->GetBounds(), untouched, &abort));
        EXPECT_TRUE(picture->IsEqual(*joined) && untouched.opaque == 3);
        EXPECT_TRUE(picture->GetAlphaBoundingBox(&abort).IsEmpty());
        EXPECT_EQ(picture->GetInverseAlphaBoundingBox(&abort), picture->GetBounds());
    }
}

TEST(Compositing, ConvertsBetweenProfilesAndKeepsThoseThatFit) {
    const auto swapped = MakeSwappedProfile();
    for (const Format format : {Format::RGBA8, Format::RGBA16, Format::RGBAF}) {
        DynamicBitmap red(4, 3, format);
        alignas(64) const Colour colour{1, 0, 0, 1};
        for (int i = 0; i < 12; ++i) {
            red.GetPixelFormat().write(colour.data(), red.GetHostView().At(i % 4, i / 4), 1);
        }
        red.SetProfile(swapped);
        using Copy = std::function<bool(DynamicBitmap&)>;
        const Copy ways[] = {[&](auto& to) { return Convert(to, red); },
                             [&](auto& to) { return Render(to, red, {}); },
                             [&](auto& to) { return CompositeOver(to, red, {}, 1); }};
        for (const Copy& copy : ways) {
            DynamicBitmap green(5, 3);
            green.SetProfile(ICCManager::GetProfileForString("sRGB IEC61966-2.1"));
            std::fill_n(green.GetHostView().At(4, 0), 4, std::byte{9});
            EXPECT_TRUE(copy(green));
            EXPECT_EQ(GetColour(green, 0), (Colour{0, 1, 0, 1}));
            const bool isWhole = &copy == &ways[1];
            EXPECT_EQ(*green.GetHostView().At(4, 0), isWhole ? std::byte{0} : std::byte{9});
        }
        DynamicBitmap half(4, 3);
        EXPECT_TRUE(CompositeOver(half, red, {}, 0.5F));
        EXPECT_NEAR(GetColour(half, 0)[3], 0.5, 0.51 / 255);
        const auto resize = [&](Format to) { return Resize(red, 2, 2, to, Sampler::Area); };
        EXPECT_EQ(resize(Format::RGBA8)->GetProfile(), swapped);
        EXPECT_EQ(resize(Format::GreyA8)->GetProfile(), swapped);
        EXPECT_EQ(GetColour(*resize(Format::CMYKA8), 0), (Colour{0, 1, 0, 1}));
    }
}

TEST(Compositing, ResizesIntoAnyFormatWithoutAChangeOfColour) {
    const auto show = [](const DynamicBitmap& bitmap) {
        DynamicBitmap colours(1, 1, Format::RGBAF);
        colours.SetProfile(GetSRGB());
        EXPECT_TRUE(Convert(colours, bitmap));
        return GetColour(colours, 0);
    };
    const Profile wide = MakeWide(cmsBuildGamma(nullptr, 1.8));
    for (const auto& [format, profile] : {std::pair{Format::RGBA8, Profile()},
                                          {Format::RGBA16, wide},
                                          {Format::GreyA8, MakeGrey(cmsBuildGamma(nullptr, 1))},
                                          {Format::GreyA16, wide},
                                          {Format::CMYKA8, MakeInks()},
                                          {Format::LabA16, {}}}) {
        DynamicBitmap grey(1, 1, format);
        alignas(64) constexpr Colour Half{128 / 255.0F, 128 / 255.0F, 128 / 255.0F, 1};
        grey.GetPixelFormat().write(Half.data(), grey.GetHostView().At(0, 0), 1);
        grey.SetProfile(profile);
        for (const Format to :
             {Format::RGBA8, Format::RGBA16, Format::RGBAF, Format::CMYKA8, Format::LabA16}) {
            const auto result = Resize(grey, 1, 1, to, Sampler::Bilinear);
            for (std::size_t i = 0; i < 4; ++i) {
                EXPECT_NEAR(show(*result)[i], show(grey)[i], 1.0 / 255);
            }
        }
    }
}

TEST(Compositing, RefusesSizesThatNoBitmapHasButNotEmptyOnes) {
    const auto picture = MakeNoise(3, 2, Format::RGBA8, 7);
    constexpr int Most = std::numeric_limits<int>::max();
    CopyTally tally;
    for (const int border : {Most, Most / 2, DynamicBitmap::MaximumSide}) {
        EXPECT_THROW(AddBorder(*picture, border), std::invalid_argument);
        EXPECT_THROW(CopyWithTally(*picture, {-border, 0, border, 1}, tally),
                     std::invalid_argument);
    }
    EXPECT_EQ(AddBorder(*picture, -Most)->GetHeight(), 0);
    EXPECT_EQ(Resize(*picture, 0, 7, Format::RGBA8, Sampler::Area)->GetHeight(), 7);
    const auto empty = Resize(DynamicBitmap(0, 5), 4, 4, Format::RGBA8, Sampler::Area);
    EXPECT_TRUE(empty->GetAlphaBoundingBox().IsEmpty());
    for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}}) {
        const auto cleared = picture->Clone();
        EXPECT_TRUE(Render(*cleared, DynamicBitmap(width, height), {0.2, 0.3, -0.3, 0.25, 1, 1}));
        EXPECT_TRUE(cleared->GetAlphaBoundingBox().IsEmpty());
    }
}

}  // namespace
}  // namespace Raster::Testing
