#include "Raster/Compositing.h"
#include "Raster/ICCManager.h"
#include "Raster/PNGBase.h"

#include "tests/codecs/ForgedFiles.h"
#include "tests/colour/Profiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Raster::Testing {
namespace {

TEST(DynamicFile, FindsProfilesThatAreComplete) {
    const auto sRGB = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    const auto bytes = sRGB->GetBytes();
    const std::string profile(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::string first = "ICC_PROFILE\0\1\2"s + profile.substr(0, 300);
    const std::string second = "ICC_PROFILE\0\2\2"s + profile.substr(300);
    const std::string half = Insert(GetSample("JPEGColours"), "", 0xE2, first);
    const std::string whole = Insert(half, "", 0xE2, second);
    EXPECT_EQ(Decode(whole)->GetProfile(), sRGB);
    EXPECT_FALSE(Decode(half)->GetProfile());
    for (const char number : {'\0', '\3'}) {
        const std::string piece = "ICC_PROFILE\0"s + number + '\2' + profile;
        EXPECT_FALSE(Decode(Insert(whole, "", 0xE2, piece))->GetProfile());
        EXPECT_FALSE(Decode(Insert(GetSample("JPEGColours"), "", 0xE2, piece))->GetProfile());
    }
    const std::string inks = Insert(GetSample("JPEGInks"), "", 0xE2, first);
    FrailStream stream(Insert(inks, "", 0xE2, second));
    DynamicFile opened;
    EXPECT_TRUE(opened.CreateFromStream(stream));
    EXPECT_FALSE(opened.GetProfile());  // as it is one of other colours
    const std::string other = "ICC_PROFILE\0\2\3"s + profile.substr(300);
    EXPECT_FALSE(Decode(Insert(Insert(GetSample("JPEGColours"), "", 0xE2, other), "", 0xE2, first))
                     ->GetProfile());
    EXPECT_FALSE(Decode(Insert(whole, "", 0xE2, second))->GetProfile());
    EXPECT_EQ(Decode(Insert(GetSample("ColoursOf16Bits"), "sRGB", 0, "\1"))->GetProfile(), sRGB);
}

/// One pixel of a bitmap, as RGBA in 0..255.
std::array<int, 4> GetPixel(const DynamicBitmap& bitmap, int x, int y) {
    alignas(64) std::array<float, 4> rgba{};
    bitmap.GetPixelFormat().read(bitmap.GetHostView().At(x, y), rgba.data(), 1);
    std::array<int, 4> levels{};
    std::ranges::transform(rgba, levels.begin(),
                           [](float value) { return static_cast<int>(std::lround(value * 255)); });
    return levels;
}

TEST(DynamicFile, ConvertsGreyByItsProfile) {
    const Profile linear = MakeGrey(cmsBuildGamma(nullptr, 1));
    for (const Format format : {Format::GreyA8, Format::GreyA16}) {
        DynamicBitmap grey(3, 2, format);
        alignas(64) constexpr float Half[] = {128 / 255.0F, 128 / 255.0F, 128 / 255.0F, 0.2F};
        grey.GetPixelFormat().write(Half, grey.GetHostView().At(2, 1), 1);
        grey.SetProfile(linear);
        Kernel::MemoryInOutStream stream;
        WritePNG(grey, stream);
        for (const Format to : {Format::RGBA8, Format::RGBA16, Format::LabA16, Format::CMYKA8}) {
            stream.Seek(0);
            const auto read = ReadPicture(stream, to);
            EXPECT_EQ(read->GetProfile(), to < Format::GreyA8 ? GetSRGB() : Profile());
            EXPECT_EQ(GetPixel(*read, 2, 1), (std::array{188, 188, 188, 51}));  // as by lcms2
        }
        stream.Seek(0);
        const auto same = ReadPicture(stream);
        EXPECT_TRUE(same->IsEqual(grey) && same->GetProfile() == linear);
    }
}

TEST(DynamicFile, ConvertsInksByTheirProfile) {
    const Profile inks = MakeInks();
    const std::string bytes(reinterpret_cast<const char*>(inks->GetBytes().data()),
                            inks->GetBytes().size());
    const std::string file = Insert(GetSample("JPEGInks"), "", 0xE2, "ICC_PROFILE\0\1\1"s + bytes);
    const auto raw = Decode(file, Format::CMYKA8);
    EXPECT_EQ(raw->GetProfile(), inks);
    const auto colours = Decode(file);
    EXPECT_EQ(colours->GetProfile(), GetSRGB());
    DynamicBitmap rendered(SampleWidth, SampleHeight);
    rendered.SetProfile(GetSRGB());
    ASSERT_TRUE(Render(rendered, *raw, {}));
    EXPECT_TRUE(rendered.IsEqual(*colours));
    FrailStream stream(file);
    DynamicFile scaled;
    DynamicBitmap row(SampleWidth, SampleHeight);
    EXPECT_TRUE(scaled.CreateFromStream(stream) && scaled.ReadScaled(row));
    EXPECT_TRUE(row.IsEqual(*colours));
    const auto open = [](const Profile& profile) {
        return LcmsProfile(cmsOpenProfileFromMem(
            profile->GetBytes().data(), static_cast<cmsUInt32Number>(profile->GetBytes().size())));
    };
    const LcmsTransform oracle(cmsCreateTransform(
        open(inks).get(), TYPE_CMYK_8 | EXTRA_SH(1), open(GetSRGB()).get(), TYPE_RGBA_8,
        INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION));
    for (int y = 0; y < SampleHeight; ++y) {
        for (int x = 0; x < SampleWidth; ++x) {
            std::array<std::uint8_t, 4> expected{0, 0, 0, 255};
            cmsDoTransform(oracle.get(), raw->GetHostView().At(x, y), expected.data(), 1);
            const std::array<int, 4> got = GetPixel(*colours, x, y);
            for (std::size_t i = 0; i < 4; ++i) {
                EXPECT_NEAR(got[i], expected[i], 1) << x << ' ' << y;
            }
        }
    }
}

TEST(DynamicFile, RefusesAProfileThatColoursCanNotBeConvertedTo) {
    const std::string file = Insert(GetSample("ColoursOf16Bits"), "sRGB", 0, "\1");
    FrailStream stream(file);
    DynamicFile opened;
    ASSERT_TRUE(opened.CreateFromStream(stream));
    DynamicBitmap bitmap(SampleWidth, SampleHeight, Format::RGBA16);
    for (const Profile& profile : {Read(MakeTable()), MakeInks()}) {
        bitmap.SetProfile(profile);
        EXPECT_FALSE(opened.ReadPixels(bitmap));
        EXPECT_NE(std::string_view(opened.GetError()).find("cannot be converted"),
                  std::string_view::npos);
        const auto source = Decode(file);
        EXPECT_FALSE(Convert(bitmap, *source) || Render(bitmap, *source, {}) ||
                     CompositeOver(bitmap, *source, {}, 1));
    }
    bitmap.SetProfile(GetSRGB());
    EXPECT_TRUE(opened.ReadPixels(bitmap));
}

}  // namespace
}  // namespace Raster::Testing
