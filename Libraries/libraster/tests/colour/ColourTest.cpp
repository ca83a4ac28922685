#include "Raster/ICCManager.h"

#include "codecs/Decoder.h"
#include "colour/Lcms.h"
#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <thread>
#include <tuple>

namespace Raster::Testing {
namespace {

using Profile = Kernel::Consolidated<ICCProfile>;
using Stage = Kernel::Counted<const SpanStage>;
constexpr std::size_t SpanSize = 128;
constexpr float Step = 1.0f / 65535;
constexpr auto Keep = [](float* /*rgba*/) {};
struct alignas(64) Span {
    std::array<float, SpanSize * 4> values{};
};

Profile Read(const LcmsProfile& profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile.get(), nullptr, &size);
    std::vector<std::byte> bytes(size);
    cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
    return ICCProfile::CreateFromBytes(bytes);
}

/// A gamut wider than sRGB's, with the same white point. Takes ownership of the curves.
Profile MakeWide(cmsToneCurve* red, cmsToneCurve* green, cmsToneCurve* blue) {
    const LcmsCurve owners[]{LcmsCurve(red), LcmsCurve(green), LcmsCurve(blue)};
    const cmsCIExyY white{0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* curves[]{red, green, blue};
    return Read(LcmsProfile(cmsCreateRGBProfile(&white, &primaries, curves)));
}

Profile MakeWide(cmsToneCurve* curve) {
    return MakeWide(curve, cmsDupToneCurve(curve), cmsDupToneCurve(curve));
}

cmsToneCurve* Sample(cmsUInt32Number count, double gamma) {
    std::vector<cmsUInt16Number> samples(count);
    std::ranges::generate(samples, [i = 0, last = count - 1.0, gamma]() mutable {
        return static_cast<cmsUInt16Number>(65535 * std::pow(i++ / last, gamma) + 0.5);
    });
    return cmsBuildTabulatedToneCurve16(nullptr, count, samples.data());
}

Profile MakeSampled(cmsUInt32Number count) {
    return MakeWide(Sample(count, 2.2));
}

/// Adds a table that makes everything black.
void AddBlackTable(const LcmsProfile& profile, cmsUInt32Number channels) {
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, channels, 3);
    cmsStage* const table = cmsStageAllocCLut16bit(nullptr, 2, channels, 3, nullptr);
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsWriteTag(profile.get(), cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
}

LcmsTransform MakeTransformToLab(cmsUInt32Number from, cmsUInt32Number to) {
    return LcmsTransform(cmsCreateTransform(LcmsProfile(cmsCreate_sRGBProfile()).get(), from,
                                            LcmsProfile(cmsCreateLab4Profile(nullptr)).get(), to, 1,
                                            cmsFLAGS_COPY_ALPHA));
}

/// sRGB as an input profile of a scanner, with a look-up table (AToB) only.
LcmsProfile MakeTable() {
    return LcmsProfile(cmsTransform2DeviceLink(MakeTransformToLab(TYPE_RGB_16, TYPE_Lab_16).get(),
                                               2.1, cmsFLAGS_GUESSDEVICECLASS));
}

Profile GetSRGB() {
    return ICCManager::GetProfileForString("sRGB IEC61966-2.1");
}

auto Apply(const Stage& stage) {
    return [stage](float* rgba) { stage->Apply(rgba, SpanSize); };
}

/// The largest difference of `convert(rgba)` from `expect(rgba)` in 0..1, for colours of even
/// distribution and dark ones.
template <class Convert, class Expect = decltype(Keep)>
float FindWorst(const Convert& convert, const Expect& expect = Keep) {
    std::mt19937 random(1);
    float worst = 0;
    for (int round = 0; round < 100; ++round) {
        Span colours;
        for (float& value : colours.values) {
            value = static_cast<float>(random() >> 8) * 0x1p-24f;
            value = round % 2 == 0 ? value : std::exp2(-30 * value);
        }
        Span expected = colours;
        convert(colours.values.data());
        expect(expected.values.data());
        for (std::size_t i = 0; i < colours.values.size(); ++i) {
            const float value = std::clamp(colours.values[i], 0.0f, 1.0f);
            worst = std::max(worst, std::abs(value - std::clamp(expected.values[i], 0.0f, 1.0f)));
        }
    }
    return worst;
}

TEST(Conversion, OfCurvesAndMatrixIsThatOfLcms) {
    const auto find = [](const Profile& from, const Profile& to) {
        const LcmsContext context = CreateLcmsContext();
        const LcmsTransform oracle =
            CreateLcmsTransform(context, OpenLcmsProfile(context, from->GetBytes()),
                                OpenLcmsProfile(context, to->GetBytes()));
        return FindWorst(Apply(ICCManager::CreateConversion(from, to)),
                         [&](float* rgba) { cmsDoTransform(oracle.get(), rgba, rgba, SpanSize); });
    };
    for (const double gamma : {1.0, 1.8, 2.19921875, 2.6}) {
        const Profile wide = MakeWide(cmsBuildGamma(nullptr, gamma));
        EXPECT_LT(std::max(find(GetSRGB(), wide), find(wide, GetSRGB())), Step) << gamma;
    }
    for (const auto& [red, green, blue] :
         {std::tuple{1.8, 2.2, 2.6}, {2.2, 2.2, 1.8}, {1.8, 2.2, 2.2}}) {
        const Profile wide = MakeWide(cmsBuildGamma(nullptr, red), cmsBuildGamma(nullptr, green),
                                      cmsBuildGamma(nullptr, blue));
        EXPECT_LT(std::max(find(GetSRGB(), wide), find(wide, GetSRGB())), Step) << red << green;
        const Profile sampled =
            MakeWide(Sample(4096, red), Sample(4096, green), Sample(4096, blue));
        EXPECT_LT(find(sampled, MakeWide(cmsBuildGamma(nullptr, 1))), 2 * Step) << red << green;
    }
    // Curves that no table of ours can stand for: black is bright, falling, not monotonic.
    for (const std::array<cmsUInt16Number, 4>& samples :
         {std::array<cmsUInt16Number, 4>{9000, 20000, 40000, 65535},
          {65535, 40000, 20000, 0},
          {0, 40000, 20000, 65535}}) {
        const Profile odd = MakeWide(cmsBuildTabulatedToneCurve16(nullptr, 4, samples.data()));
        EXPECT_LT(std::max(find(GetSRGB(), odd), find(odd, GetSRGB())), Step) << samples[1];
    }
    const std::array<cmsUInt16Number, 2> dim{0, 60000};  // stands for no light above its white
    const Profile noWhite = MakeWide(cmsBuildTabulatedToneCurve16(nullptr, 2, dim.data()));
    EXPECT_LT(find(GetSRGB(), noWhite), Step);
    const LcmsProfile both(cmsCreate_sRGBProfile());
    cmsSetProfileVersion(both.get(), 2.1);
    AddBlackTable(both, 3);  // which counts, whatever the curves say
    EXPECT_EQ(find(Read(both), GetSRGB()), 0);
    for (const auto count : {17U, 256U, 1024U, 4096U}) {  // lcms2 rounds these to 16 bits
        const Profile sampled = MakeSampled(count);
        EXPECT_LT(find(sampled, MakeWide(cmsBuildGamma(nullptr, 1))), 1.6f * Step) << count;
        const auto goAndReturn = [&](float* rgba) {
            Apply(ICCManager::CreateConversion(GetSRGB(), sampled))(rgba);
            Apply(ICCManager::CreateConversion(sampled, GetSRGB()))(rgba);
        };
        EXPECT_LT(FindWorst(goAndReturn), 8 * Step) << count;  // magnified by the matrix
    }
}

TEST(Conversion, OfATableIsRightOnManyThreads) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            const Profile table = Read(MakeTable());
            EXPECT_LT(FindWorst(Apply(ICCManager::CreateConversion(table, GetSRGB()))), 0.02f);
            EXPECT_FALSE(ICCManager::CreateConversion(GetSRGB(), table));
        });
    }
}

TEST(Conversion, HasTheSameBytesOnEveryInstructionSetInSpansOfAnySize) {
    const Stage stage =
        ICCManager::CreateConversion(GetSRGB(), MakeWide(cmsBuildGamma(nullptr, 2.2)));
    Span colours{{-0.5f, -0.5f, -0.5f, 0.3f, 0.5f, 0.5f, 0.5f, 9, 7, 7, 7, -0.0f, INFINITY, NAN}};
    std::generate(colours.values.begin() + 16, colours.values.end(),
                  [i = 0]() mutable { return static_cast<float>(++i) / 400; });
    Span expected = colours;
    stage->Apply(expected.values.data(), SpanSize);
    EXPECT_EQ(expected.values[0], -expected.values[4]);
    EXPECT_EQ(expected.values[3], 0.3f);
    EXPECT_GT(expected.values[8], 7);
    ForTargets([&] {
        for (const std::size_t size : {1U, 5U, 31U, 128U}) {
            Span result = colours;
            for (std::size_t i = 0; i < SpanSize; i += size) {
                stage->Apply(result.values.data() + i * 4, std::min(size, SpanSize - i));
            }
            EXPECT_EQ(std::memcmp(&result, &expected, sizeof(Span)), 0) << size;
        }
    });
}

TEST(Conversion, TakesOtherColoursForSRGB) {
    for (const auto& [signature, channels, ownFormat] :
         {std::tuple{cmsSigGrayData, 1U, Format::GreyA8},
          {cmsSigCmykData, 4U, Format::CMYKA8},
          {cmsSigLabData, 3U, Format::LabA16}}) {
        const LcmsProfile black = MakeTable();
        cmsSetColorSpace(black.get(), signature);
        AddBlackTable(black, channels);
        EXPECT_NE(Read(black)->GetColourSpace(), ColourSpace::RGB);
        EXPECT_FALSE(ICCManager::CreateConversion(Read(black), GetSRGB()));
        EXPECT_TRUE(ICCManager::CreateConversion(Read(black), MakeWide(cmsBuildGamma(nullptr, 2))));
        for (const Format format : {Format::RGBA8, Format::GreyA8, Format::CMYKA8}) {
            EXPECT_EQ(static_cast<bool>(KeepFitting(Read(black), format)), format == ownFormat);
        }
    }
}

TEST(ICCProfile, IsOneObjectForTheSameBytes) {
    const Profile profile = MakeWide(cmsBuildGamma(nullptr, 2));
    std::vector<std::byte> bytes(profile->GetBytes().begin(), profile->GetBytes().end());
    bytes[47] = bytes[67] = bytes[99] = std::byte{1};  // flags, intent and ID: not compared
    bytes.resize(ICCProfile::MaximumSize);
    EXPECT_EQ(ICCProfile::CreateFromBytes(bytes), profile);
    bytes.push_back({});
    EXPECT_FALSE(ICCProfile::CreateFromBytes(bytes));
    EXPECT_NE(profile, GetSRGB());
    EXPECT_EQ(GetSRGB()->GetDescription(), "sRGB IEC61966-2.1");
    EXPECT_FALSE(ICCManager::GetProfileForString("sRGB"));
    ICCManager::ICCProfileSet profiles;
    profiles.SetProfileForFormat(Format::RGBA8, profile);
    EXPECT_EQ(profiles.GetProfileForFormat(Format::RGBA8), profile);
    EXPECT_FALSE(profiles.GetProfileForFormat(Format::RGBA16));
}

TEST(ICCProfile, IsEmptyOrUsableFromOtherBytes) {
    for (const auto& [offset, text] : {std::pair{12, "link"},
                                       {12, "abst"},
                                       {12, "nmcl"},
                                       {16, "HSV "},
                                       {36, "acsq"},
                                       {128, "much"},
                                       {136, "far"},
                                       {140, "long"}}) {
        std::vector<std::byte> bytes(GetSRGB()->GetBytes().begin(), GetSRGB()->GetBytes().end());
        std::memcpy(bytes.data() + offset, text, 4);
        EXPECT_FALSE(ICCProfile::CreateFromBytes(bytes)) << text;
    }
    std::mt19937 random(1);
    for (const Profile& profile : {GetSRGB(), Read(MakeTable())}) {
        const std::span<const std::byte> good = profile->GetBytes();
        for (std::size_t size = 0; size < good.size(); size += 1 + size / 600) {
            EXPECT_FALSE(ICCProfile::CreateFromBytes(good.first(size))) << size;
        }
        for (int i = 0; i < 20; ++i) {
            std::vector<std::byte> bytes(good.begin(), good.end());
            bytes[random() % 590] ^= std::byte{1} << random() % 8;
            const Profile read = ICCProfile::CreateFromBytes(bytes);
            if (const Stage stage = ICCManager::CreateConversion(read, GetSRGB())) {
                Apply(stage)(Span().values.data());
            }
        }
    }
}

TEST(LabFormat, IsThatOfLcms) {
    const LcmsTransform oracle = MakeTransformToLab(TYPE_RGBA_FLT, TYPE_Lab_16 | EXTRA_SH(1));
    const auto convert = [&](float* rgba) {
        std::array<std::uint16_t, SpanSize * 4> pixels{};
        auto expected = pixels;
        cmsDoTransform(oracle.get(), rgba, expected.data(), SpanSize);
        GetPixelFormat(Format::LabA16).write(rgba, pixels.data(), SpanSize);
        GetPixelFormat(Format::LabA16).read(pixels.data(), rgba, SpanSize);
        const auto isNear = [](int a, int b) { return std::abs(a - b) <= 2; };
        EXPECT_TRUE(std::ranges::equal(pixels, expected, isNear));
    };
    EXPECT_LT(FindWorst(convert), 0.001f);
}

}  // namespace
}  // namespace Raster::Testing
