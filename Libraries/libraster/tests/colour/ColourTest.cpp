#include "Raster/ICCManager.h"

#include "tests/colour/Profiles.h"
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

using Stage = Kernel::Counted<const SpanStage>;
using Answer = ColourConversion::Answer;
constexpr std::size_t SpanSize = 128;
constexpr float Step = 1.0f / 65535;
constexpr auto Keep = [](float* /*rgba*/) {};
struct alignas(64) Span {
    std::array<float, SpanSize * 4> values{};
};

Stage CreateStage(const Profile& from, const Profile& to) {
    return ICCManager::CreateConversion(Format::RGBAF, from, Format::RGBAF, to).stage;
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
        return FindWorst(Apply(CreateStage(from, to)),
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
        EXPECT_LT(std::max(find(GetSRGB(), odd), find(odd, GetSRGB())), 3 * Step) << samples[1];
    }
    const std::array<cmsUInt16Number, 2> dim{0, 60000};  // stands for no light above its white
    const Profile noWhite = MakeWide(cmsBuildTabulatedToneCurve16(nullptr, 2, dim.data()));
    EXPECT_LT(find(GetSRGB(), noWhite), 3 * Step);
    const LcmsProfile both(cmsCreate_sRGBProfile());
    cmsSetProfileVersion(both.get(), 2.1);
    AddBlackTable(both, 3);  // which counts, whatever the curves say
    EXPECT_EQ(find(Read(both), GetSRGB()), 0);
    for (const auto count : {17U, 256U, 1024U, 4096U}) {  // lcms2 rounds these to 16 bits
        const Profile sampled = MakeSampled(count);
        EXPECT_LT(find(sampled, MakeWide(cmsBuildGamma(nullptr, 1))), 1.6f * Step) << count;
        const auto goAndReturn = [&](float* rgba) {
            Apply(CreateStage(GetSRGB(), sampled))(rgba);
            Apply(CreateStage(sampled, GetSRGB()))(rgba);
        };
        EXPECT_LT(FindWorst(goAndReturn), 8 * Step) << count;  // magnified by the matrix
    }
}

TEST(Conversion, OfATableIsRightOnManyThreads) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            const Profile table = Read(MakeTable());
            EXPECT_LT(FindWorst(Apply(CreateStage(table, GetSRGB()))), 0.02f);
        });
    }
}

TEST(Conversion, HasTheSameBytesOnEveryInstructionSetInSpansOfAnySize) {
    const Stage stage = CreateStage(GetSRGB(), MakeWide(cmsBuildGamma(nullptr, 2.2)));
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

TEST(Conversion, IsOneOfThreeAnswers) {
    const Profile sRGB = GetSRGB();
    const Profile wide = MakeWide(cmsBuildGamma(nullptr, 2.2));
    const Profile grey = MakeGrey(cmsBuildGamma(nullptr, 1));
    const Profile scanner = Read(MakeTable());
    const Profile inks = MakeInks();
    const Profile seen = MakeInks(false);
    const struct {
        Format from;
        Profile source;
        Format to;
        Profile destination;
        Answer answer;
    } cases[] = {{Format::RGBA8, sRGB, Format::RGBA16, sRGB, Answer::NoneNeeded},
                 {Format::RGBA8, {}, Format::RGBA8, wide, Answer::NoneNeeded},
                 {Format::RGBA8, wide, Format::RGBA8, {}, Answer::NoneNeeded},
                 {Format::GreyA8, wide, Format::RGBA8, wide, Answer::NoneNeeded},
                 {Format::LabA16, {}, Format::RGBA8, sRGB, Answer::NoneNeeded},
                 {Format::LabA16, {}, Format::RGBA8, wide, Answer::Stages},
                 {Format::CMYKA8, inks, Format::CMYKA8, inks, Answer::NoneNeeded},
                 {Format::CMYKA8, {}, Format::RGBA8, sRGB, Answer::NoneNeeded},
                 {Format::Alpha8, wide, Format::RGBA8, sRGB, Answer::NoneNeeded},
                 {Format::GreyA8, grey, Format::RGBA8, sRGB, Answer::Stages},
                 {Format::CMYKA8, inks, Format::CMYKA8, seen, Answer::Impossible},
                 {Format::CMYKA8, seen, Format::CMYKA8, inks, Answer::Stages},
                 {Format::RGBA8, scanner, Format::RGBA8, wide, Answer::Stages},
                 {Format::RGBA8, sRGB, Format::RGBA8, scanner, Answer::Impossible},
                 {Format::CMYKA8, inks, Format::RGBA8, scanner, Answer::Impossible},
                 {Format::RGBA8, grey, Format::RGBA8, sRGB, Answer::Impossible},
                 {Format::RGBA8, sRGB, Format::CMYKA8, wide, Answer::Impossible},
                 {Format::LabA16, wide, Format::RGBA8, sRGB, Answer::Impossible}};
    for (const auto& [from, source, to, destination, answer] : cases) {
        const ColourConversion got = ICCManager::CreateConversion(from, source, to, destination);
        EXPECT_EQ(got.answer, answer) << &answer - &cases[0].answer;
        EXPECT_EQ(got.stage || got.reader || got.writer, answer == Answer::Stages);
    }
}

/// lcms2's own conversion of pixels, into Lab without a profile.
auto MakeOracle(const Profile& from, cmsUInt32Number source, const Profile& to,
                cmsUInt32Number destination) {
    const auto open = [](const Profile& profile) {
        return LcmsProfile(profile ? cmsOpenProfileFromMem(
                                         profile->GetBytes().data(),
                                         static_cast<cmsUInt32Number>(profile->GetBytes().size()))
                                   : cmsCreateLab4Profile(nullptr));
    };
    const std::shared_ptr<void> transform(
        cmsCreateTransform(open(from).get(), source, open(to).get(), destination,
                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION),
        cmsDeleteTransform);
    EXPECT_TRUE(transform);
    return [transform](const void* pixels, void* result) {
        cmsDoTransform(transform.get(), pixels, result, SpanSize);
    };
}

/// Makes all colours grey.
void Level(float* rgba) {
    for (std::size_t i = 0; i < 4 * SpanSize; i += 4) {
        rgba[i + 1] = rgba[i + 2] = rgba[i];
    }
}

TEST(Conversion, OfBytesIsThatOfLcmsOnEveryInstructionSet) {
    constexpr std::size_t Count = 1 << 16;
    std::mt19937 random(1);
    std::vector<std::uint8_t> pixels(Count * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i) {  // greys, dark colours, any
        const std::size_t level = i < 1024 ? i / 4 : i < Count ? random() % 16 : random() % 256;
        pixels[i] = static_cast<std::uint8_t>(level);
    }
    const Profile wide = MakeWide(cmsBuildGamma(nullptr, 563 / 256.0));
    for (const auto& [from, to] :
         {std::pair{GetSRGB(), wide},
          {wide, GetSRGB()},
          {GetSRGB(), MakeWide(cmsBuildGamma(nullptr, 1.8), cmsBuildGamma(nullptr, 2.6),
                               cmsBuildGamma(nullptr, 1))},
          {MakeWide(Sample(1024, 1.8)), GetSRGB()}}) {
        const Stage stage = CreateStage(from, to);
        ASSERT_TRUE(stage->HasByteWay());
        std::vector<float> floats(pixels.begin(), pixels.end());
        std::ranges::transform(floats, floats.begin(), [](float value) { return value / 255; });
        const auto oracle = MakeOracle(from, TYPE_RGBA_FLT, to, TYPE_RGBA_FLT);
        for (std::size_t i = 0; i < floats.size(); i += 4 * SpanSize) {
            oracle(&floats[i], &floats[i]);
        }
        std::vector<std::uint8_t> first(pixels.size());
        ForTargets([&] {
            std::vector<std::uint8_t> got(pixels.size());
            for (std::size_t i = 0, size = 1; i < Count; i += size, size = size * 7 % 300 + 1) {
                size = std::min(size, Count - i);
                stage->ConvertBytes(reinterpret_cast<const std::byte*>(&pixels[4 * i]),
                                    reinterpret_cast<std::byte*>(&got[4 * i]), size);
            }
            if (first == std::vector<std::uint8_t>(pixels.size())) {
                first = got;
            }
            EXPECT_TRUE(got == first);
        });
        float worst = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const float expected = i % 4 == 3 ? pixels[i] : std::clamp(floats[i], 0.0F, 1.0F) * 255;
            worst = std::max(worst, std::abs(static_cast<float>(first[i]) - expected));
        }
        EXPECT_LT(worst, 0.8F);
    }
    const std::array<cmsUInt16Number, 5> stairs{0, 9000, 9000, 40000, 65535};
    const Profile stepped = MakeWide(cmsBuildTabulatedToneCurve16(nullptr, 5, stairs.data()));
    EXPECT_FALSE(CreateStage(stepped, GetSRGB())->HasByteWay());
    EXPECT_FALSE(CreateStage(GetSRGB(), MakeWide(cmsBuildGamma(nullptr, 4)))->HasByteWay());
}

TEST(Conversion, OfGreyIsThatOfLcms) {
    constexpr cmsUInt32Number Grey = TYPE_GRAY_FLT | EXTRA_SH(3);
    const LcmsCurve gain(Sample(256, 1.7));
    const LcmsProfile light(cmsCreateGrayProfile(cmsD50_xyY(), gain.get()));
    cmsSetPCS(light.get(), cmsSigLabData);  // the curve is of lightness
    const Profile lightness = Read(light);
    const Profile linear = MakeWide(cmsBuildGamma(nullptr, 1));
    for (const auto& [grey, isSampled] : {std::pair{MakeGrey(cmsBuildGamma(nullptr, 1)), false},
                                          {MakeGrey(cmsBuildGamma(nullptr, 2.2)), false},
                                          {MakeGrey(Sample(256, 1.7)), true},
                                          {MakeGrey(Sample(4096, 2.4)), true},
                                          {lightness, true}}) {
        for (const Profile& colour : {GetSRGB(), MakeWide(cmsBuildGamma(nullptr, 1.8)), linear}) {
            const auto toColour = Apply(
                ICCManager::CreateConversion(Format::GreyA16, grey, Format::RGBAF, colour).stage);
            const auto expectColour = MakeOracle(grey, Grey, colour, TYPE_RGBA_FLT);
            if (colour == GetSRGB()) {  // where greys stay neutral
                EXPECT_EQ(FindWorst([&](float* rgba) { Level(rgba), toColour(rgba); },
                                    [&](float* rgba) { Level(rgba), toColour(rgba), Level(rgba); }),
                          0);
            }
            const auto toGrey = Apply(
                ICCManager::CreateConversion(Format::RGBAF, colour, Format::GreyA16, grey).stage);
            const auto expectGrey = MakeOracle(colour, TYPE_RGBA_FLT, grey, Grey);
            if (!isSampled || colour == linear) {  // lcms2 rounds samples of light to 16 bits
                EXPECT_LT(FindWorst([&](float* rgba) { Level(rgba), toColour(rgba); },
                                    [&](float* rgba) { Level(rgba), expectColour(rgba, rgba); }),
                          3 * Step);
            }
            if (!isSampled) {
                EXPECT_LT(
                    FindWorst(toGrey, [&](float* rgba) { expectGrey(rgba, rgba), Level(rgba); }),
                    3 * Step);
            } else if (colour == linear && grey != lightness) {
                const auto goAndReturn = [&](float* rgba) { toGrey(rgba), toColour(rgba); };
                EXPECT_LT(FindWorst([&](float* rgba) { Level(rgba), goAndReturn(rgba); }, Level),
                          3 * Step);
            }
        }
    }
}

TEST(Conversion, OfInksIsThatOfLcms) {
    const Profile inks = MakeInks();
    const Profile wide = MakeWide(cmsBuildGamma(nullptr, 2.2));
    std::mt19937 random(1);
    std::array<unsigned char, SpanSize * 5> pixels;
    std::ranges::generate(pixels, [&] { return static_cast<unsigned char>(random()); });
    std::array<unsigned char, SpanSize * 5> got{};
    std::array<unsigned char, SpanSize * 5> expected{};
    const auto isNear = [](int a, int b) { return std::abs(a - b) <= 1; };
    constexpr cmsUInt32Number Inks = TYPE_CMYK_8 | EXTRA_SH(1);
    for (const Profile& colour : {GetSRGB(), wide, Read(MakeTable())}) {
        Span rgba;
        if (colour == GetSRGB() || colour == wide) {
            const auto read =
                ICCManager::CreateConversion(Format::CMYKA8, inks, Format::RGBA8, colour);
            read.reader->Read(pixels.data(), rgba.values.data(), SpanSize);
            if (read.stage) {
                read.stage->Apply(rgba.values.data(), SpanSize);
            }
            GetPixelFormat(Format::RGBA8).write(rgba.values.data(), got.data(), SpanSize);
            MakeOracle(inks, Inks, colour, TYPE_RGBA_FLT)(pixels.data(), rgba.values.data());
            for (std::size_t i = 0; i < SpanSize; ++i) {
                rgba.values[i * 4 + 3] = static_cast<float>(pixels[i * 5 + 4]) / 255;
            }
            GetPixelFormat(Format::RGBA8).write(rgba.values.data(), expected.data(), SpanSize);
            EXPECT_TRUE(std::ranges::equal(got, expected, isNear));
        }
        const auto write =
            ICCManager::CreateConversion(Format::RGBA8, colour, Format::CMYKA8, inks);
        GetPixelFormat(Format::RGBA8).read(pixels.data(), rgba.values.data(), SpanSize);
        Span source = rgba;
        if (write.stage) {
            write.stage->Apply(rgba.values.data(), SpanSize);
        }
        write.writer->Write(rgba.values.data(), got.data(), SpanSize);
        MakeOracle(colour, TYPE_RGBA_FLT, inks, Inks)(source.values.data(), expected.data());
        for (std::size_t i = 0; i < SpanSize; ++i) {
            expected[i * 5 + 4] = pixels[i * 4 + 3];
        }
        EXPECT_TRUE(std::ranges::equal(got, expected, isNear));
    }
    const Span nothing;
    ICCManager::CreateConversion(Format::RGBA8, GetSRGB(), Format::CMYKA8, inks)
        .writer->Write(nothing.values.data(), got.data(), SpanSize);
    EXPECT_EQ(std::ranges::count(got, 0), std::ssize(got));
}

TEST(ICCProfile, IsOneObjectForTheSameBytes) {
    const Profile profile = MakeWide(cmsBuildGamma(nullptr, 2));
    std::vector<std::byte> bytes(profile->GetBytes().begin(), profile->GetBytes().end());
    bytes.resize(ICCProfile::MaximumSize);
    EXPECT_EQ(ICCProfile::CreateFromBytes(bytes), profile);
    bytes.push_back({});
    EXPECT_FALSE(ICCProfile::CreateFromBytes(bytes));
    bytes.resize(profile->GetBytes().size());
    for (const std::size_t offset : {47, 67, 99}) {  // flags, intent and ID
        std::vector<std::byte> other = bytes;
        other[offset] = std::byte{1};
        const Profile same = ICCProfile::CreateFromBytes(other);
        EXPECT_TRUE(std::ranges::equal(same->GetBytes(), other)) << offset;
        for (const auto& [from, to] : {std::pair{same, profile}, {profile, same}}) {
            EXPECT_EQ(ICCManager::CreateConversion(Format::RGBA8, from, Format::RGBA8, to).answer,
                      Answer::NoneNeeded);
        }
    }
    EXPECT_NE(profile, GetSRGB());
    EXPECT_FALSE(profile->HasColoursOf(*GetSRGB()));
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
            if (const Stage stage = CreateStage(read, GetSRGB())) {
                Apply(stage)(Span().values.data());
            }
        }
    }
}

TEST(LabFormat, IsThatOfLcms) {
    const Profile linear = MakeWide(cmsBuildGamma(nullptr, 1));
    for (const Profile& profile : {GetSRGB(), linear, MakeWide(cmsBuildGamma(nullptr, 2.2)),
                                   Read(MakeTable()), MakeWide(Sample(1024, 1.8))}) {
        const auto oracle = MakeOracle(profile, TYPE_RGBA_FLT, {}, TYPE_Lab_16 | EXTRA_SH(1));
        const Stage stage =
            ICCManager::CreateConversion(Format::RGBAF, profile, Format::LabA16, {}).stage;
        EXPECT_EQ(static_cast<bool>(stage), profile != GetSRGB());
        const Stage back =
            ICCManager::CreateConversion(Format::LabA16, {}, Format::RGBAF, profile).stage;
        const auto convert = [&](float* rgba) {
            std::array<std::uint16_t, SpanSize * 4> pixels{};
            auto expected = pixels;
            oracle(rgba, expected.data());
            for (std::size_t i = 3; i < pixels.size(); i += 4) {
                expected[i] = static_cast<std::uint16_t>(rgba[i] * 65535 + 0.5F);
            }
            if (stage) {
                stage->Apply(rgba, SpanSize);
            }
            GetPixelFormat(Format::LabA16).write(rgba, pixels.data(), SpanSize);
            GetPixelFormat(Format::LabA16).read(pixels.data(), rgba, SpanSize);
            if (back) {
                back->Apply(rgba, SpanSize);
            }
            // 13 steps of a* are a twentieth of what eyes tell apart.
            const int limit = stage ? 13 : 2;
            const auto isNear = [&](int a, int b) { return std::abs(a - b) <= limit; };
            EXPECT_TRUE(std::ranges::equal(pixels, expected, isNear));
        };
        const float worst = FindWorst(convert);
        if (profile == GetSRGB() || profile == linear) {  // other curves are too steep at black
            EXPECT_LT(worst, stage ? 0.005f : 0.001f);    // the widest green has an a* below -128
        }
    }
}

}  // namespace
}  // namespace Raster::Testing
