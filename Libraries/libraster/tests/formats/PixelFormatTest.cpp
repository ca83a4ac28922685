// The pixel formats against plain definitions of them, at every instruction set of this machine.

#include "Raster/FormatTraits.h"

#include "formats/DirectConversions.h"
#include "tests/formats/EveryFormat.h"
#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>

namespace Raster::Testing {
namespace {

using Colour = std::array<float, 4>;
using Bytes = std::vector<std::byte>;

const PixelFormat* const RGBA8 = &GetPixelFormat(Format::RGBA8);
const PixelFormat* const Lab = &GetPixelFormat(Format::LabA16);

constexpr auto Unit = [](float x) { return x > 0 ? std::min(x, 1.0f) : 0.0f; };
constexpr auto Largest = [](const PixelFormat& f) { return f.sampleSize == 1 ? 255.0f : 65535.0f; };

/// The RGBA value of a pixel in any format but Lab.
Colour Read(const PixelFormat& format, const std::byte* p) {
    float s[5] = {};
    for (std::size_t i = 0; i < format.channelCount; ++i) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, p + i * format.sampleSize, format.sampleSize);
        s[i] = format.sampleSize == 4 ? std::bit_cast<float>(bits)
                                      : static_cast<float>(bits) / Largest(format);
    }
    const auto ink = [&](int i) { return static_cast<float>(p[i]) * (1.0f / 255.0f); };
    const auto light = [&](int i) { return 1 - std::min(1.0f, ink(i) * (1 - ink(3)) + ink(3)); };
    return format.channelCount == 1   ? Colour{0, 0, 0, s[0]}
           : format.channelCount == 2 ? Colour{s[0], s[0], s[0], s[1]}
           : format.channelCount == 4 ? Colour{s[0], s[1], s[2], s[3]}
                                      : Colour{light(0), light(1), light(2), s[4]};
}

/// The pixel of an RGBA value in any format but Lab.
void Write(const PixelFormat& format, const Colour& c, std::byte* p) {
    const float r = Unit(c[0]), g = Unit(c[1]), b = Unit(c[2]);
    const float k = std::min({1.0f - r, 1.0f - g, 1.0f - b});
    const auto ink = [&](float x) { return k < 1.0f ? (1.0f - x - k) / (1.0f - k) : 0.0f; };
    const float grey = 0.299f * r + 0.587f * g + 0.114f * b;
    const float samples[5][5] = {
        {c[3]}, {grey, c[3]}, {}, {c[0], c[1], c[2], c[3]}, {ink(r), ink(g), ink(b), k, c[3]}};
    for (std::size_t i = 0; i < format.channelCount; ++i) {
        const float x = samples[format.channelCount - 1][i];
        const auto whole = static_cast<std::uint32_t>(std::round(Unit(x) * Largest(format)));
        const std::uint32_t bits = format.sampleSize == 4 ? std::bit_cast<std::uint32_t>(x) : whole;
        std::memcpy(p + i * format.sampleSize, &bits, format.sampleSize);
    }
}

/// The intermediate, 64-byte aligned.
alignas(64) Colour rgba[1 << 19];

/// Pixels from an odd address on, with all values of 16 bits and of pairs of bytes.
Bytes MakePixels(const PixelFormat& format, std::size_t count) {
    Bytes bytes(count * format.GetPixelSize() + 1);
    for (std::uint32_t i = 0; i < (bytes.size() - 1) / 2; ++i) {
        const std::uint32_t bits = i * 40503;
        std::memcpy(&bytes[1 + i * 2], &bits, 2);
    }
    return bytes;
}

/// Values on both sides of every rounding threshold, and special values: negative, large, denormal,
/// NaN and infinite.
std::vector<Colour> MakeColours() {
    std::vector<float> x{-0.0f, -1, 2, 1e-40f, 1e30f, -1e30f, NAN, INFINITY, -INFINITY};
    for (float i = 0; i < 65536; ++i) {
        const float middle = (i + 0.5f) / (i < 256 ? 255.0f : 65535.0f);
        x.insert(x.end(), {middle, std::nextafter(middle, 0.0f)});
    }
    std::vector<Colour> colours;
    for (std::size_t i = 0; i < x.size(); ++i) {
        colours.push_back({x[i], x[i * 7 % x.size()], x[i * 31 % x.size()] * 1.2f - 0.1f, x[i]});
    }
    return colours;
}

TEST(Format, ReadsAndWritesAsDefined) {
    const std::vector<Colour> colours = MakeColours();
    for (const PixelFormat* const each : GetHostFormats()) {
        const PixelFormat& format = *each;
        EXPECT_EQ(&GetPixelFormat(format.code), each);
        const Bytes pixels = MakePixels(format, colours.size());
        Bytes written(pixels.size());
        const auto run = [&] {
            std::copy(colours.begin(), colours.end(), rgba);
            format.write(rgba->data(), &written[1], colours.size());
            format.read(&pixels[1], rgba->data(), colours.size());
        };
        run();  // for Lab only that all instruction sets agree: its definition is tested below
        std::vector<Colour> expected(rgba, rgba + colours.size());
        Bytes expectedPixels = written;
        for (std::size_t i = 0; &format != Lab && i < colours.size(); ++i) {
            expected[i] = Read(format, &pixels[1 + i * format.GetPixelSize()]);
            Write(format, colours[i], &expectedPixels[1 + i * format.GetPixelSize()]);
        }
        ForTargets([&] {
            run();
            EXPECT_EQ(std::memcmp(rgba, expected.data(), expected.size() * sizeof(Colour)), 0);
            EXPECT_TRUE(written == expectedPixels) << static_cast<int>(format.code);
        });
    }
}

TEST(Format, ConvertsBlocksAsThroughTheIntermediate) {
    constexpr std::size_t Width = 203, Height = 10, Stride = 64 * 52;
    alignas(64) static std::byte target[Stride * Height + 64];
    const auto check = [&](const PixelFormat& from, const PixelFormat& to, std::size_t width,
                           BlockConverter convert) {
        const Bytes source = MakePixels(from, Stride * Height);
        for (int run = 0; run < 4; ++run) {
            const std::size_t offset = run % 2;  // aligned for non-temporal stores, and not
            std::fill(target, std::end(target), std::byte{});
            Bytes expected(sizeof(target));
            for (std::size_t y = 0; y < Height; ++y) {
                from.read(&source[1 + y * Stride], rgba->data(), Width);
                to.write(rgba->data(), &expected[offset + y * Stride], Width);
            }
            convert({&source[1], Stride}, {target + offset, Stride}, width, Height, run < 2);
            EXPECT_EQ(std::memcmp(target, expected.data(), sizeof(target)), 0) << to.GetPixelSize();
        }
    };
    ForTargets([&] {
        for (const PixelFormat* const each : GetHostFormats()) {
            const PixelFormat& to = *each;
            for (const DirectConversion& direct : to.directConversions) {
                check(*direct.source, to, Width, direct.convert);
            }
            if (&to != Lab && to.channelCount != 5) {  // whose round trip is lossy
                check(to, to, Width * to.GetPixelSize(), CopyBlock);
            }
        }
    });
}

TEST(Format, LabFollowsTheClosedFormAndComesBack) {
    // The primaries of sRGB, adapted to D50, whose X, Y and Z are the last column.
    constexpr double ToXYZ[3][4] = {{0.436041252, 0.385112911, 0.143045838, 0.9642},
                                    {0.222484540, 0.716905079, 0.060610381, 1},
                                    {0.013920187, 0.097067239, 0.713912574, 0.8249}};
    std::mt19937 random(3);
    for (int run = 0; run < 20000; ++run) {
        const auto bits = static_cast<std::uint32_t>(random());
        const bool isInGamut = run % 2 == 0;
        RGBA8->read(&bits, rgba->data(), 1);
        std::ranges::transform(rgba[0], rgba[0].begin(),
                               [&](float x) { return isInGamut ? x : x * 1.6f - 0.3f; });
        double f[3];
        for (int i = 0; i < 3; ++i) {
            double t = 0;
            for (std::size_t j = 0; j < 3; ++j) {
                const double x = std::fabs(rgba[0][j]);
                const double light = x > 0.04045 ? std::pow((x + 0.055) / 1.055, 2.4) : x / 12.92;
                t += std::copysign(light, rgba[0][j]) * ToXYZ[i][j];
            }
            t /= ToXYZ[i][3];
            f[i] = t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
        }
        std::array<std::uint16_t, 4> lab{};
        Lab->write(rgba->data(), lab.data(), 1);
        const double expected[] = {(116 * f[1] - 16) / 100 * 65535,
                                   (500 * (f[0] - f[1]) + 128) * 257,
                                   (200 * (f[1] - f[2]) + 128) * 257};
        for (std::size_t i = 0; i < 3; ++i) {
            ASSERT_NEAR(std::clamp(expected[i], 0.0, 65535.0), lab[i], 0.55);
        }
        if (!isInGamut) {
            continue;
        }
        std::uint32_t back = 0;
        Lab->read(lab.data(), rgba->data(), 1);
        RGBA8->write(rgba->data(), &back, 1);
        ASSERT_EQ(back, bits);
    }
}

TEST(Format, HasKnownValues) {
    std::array<std::uint8_t, 7> pixels{};
    rgba[0] = {1, 0, 0, 1};
    GetPixelFormat(Format::GreyA8).write(rgba->data(), &pixels[0], 1);
    rgba[0] = {NAN, 0, 0, 1};
    GetPixelFormat(Format::CMYKA8).write(rgba->data(), &pixels[2], 1);
    EXPECT_EQ(pixels, (std::array<std::uint8_t, 7>{76, 255, 0, 0, 0, 255, 255}));
    EXPECT_THROW(GetPixelFormat(Format::Tensor), std::invalid_argument);
}

TEST(Format, BlendsRowsMultipliedByAlpha) {
    const float weights[] = {0.25f, 0.7f};
    for (const bool isOpaque : {false, true}) {
        const Bytes pixels = isOpaque ? Bytes(361, std::byte{255}) : MakePixels(*RGBA8, 90);
        std::vector<Colour> sums;  // of the first instruction set, which all others give, too
        ForTargets([&] {
            const void* const rows[] = {&pixels[1], &pixels[181]};
            RGBA8->blendRows(rows, weights, 2, rgba->data(), 45);
            const auto part = [&](std::size_t y, std::size_t i) {
                const Colour c = Read(*RGBA8, &pixels[1 + y * 180 + i / 4 * 4]);
                return (i % 4 == 3 ? c[3] : c[i % 4] * c[3]) * weights[y];
            };
            for (std::size_t i = 0; i < 180; ++i) {
                ASSERT_NEAR(rgba[i / 4][i % 4], part(0, i) + part(1, i), 3e-7);
            }
            sums.resize(45);
            if (sums == std::vector<Colour>(45)) {
                std::copy_n(rgba, 45, sums.begin());
            }
            ASSERT_TRUE(std::equal(sums.begin(), sums.end(), rgba));
        });
    }
}

TEST(Channels, AreDescribed) {
    EXPECT_EQ(DescribeChannels("Kind", RGBA8->channels), "Kind<Red8,Green8,Blue8,Alpha8,Empty>");
    const auto params = MakeChannelParams(RGBA8->channels);
    EXPECT_EQ(params[1], (ChannelParams{"Green", 1, 0, 1, 0, {0, 255, 0}, 0, 1}));
    EXPECT_EQ(params[3], (ChannelParams{"Alpha", 1, 1, 0, 0, {128, 128, 128}, 0, 1}));
    EXPECT_EQ(params[4], (ChannelParams{"Empty", 0, 0, 0, 0, {0, 0, 0}, 0, 1}));
    EXPECT_EQ(LocaliseChannelName("Luminosity"),
              Kernel::LocalisedString("HSL Channel name", "Luminosity"));
    EXPECT_TRUE(LocaliseChannelName("red").IsFake());
}

}  // namespace
}  // namespace Raster::Testing
