#include "Raster/CodecException.h"
#include "Raster/Compositing.h"
#include "Raster/DynamicFile.h"
#include "Raster/Pipeline.h"
#include "Raster/Planes.h"

#include "codecs/ScaledRows.h"
#include "tests/codecs/ForgedFiles.h"
#include "tests/resampling/EverySampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace Raster::Testing {
namespace {

/// With an orientation, which TIFF samples have as 1.
std::string Turn(std::string file, std::size_t turn) {
    const bool isBigEndian =
        IsPNG(file) || IsJPEG(file) || IsWebP(file) ? turn % 3 != 0 : file[0] == 'M';
    const std::string tag = isBigEndian ? "\1\x12\0\3\0\0\0\1"s : "\x12\1\3\0\1\0\0\0"s;
    const std::string value = MakeBigEndian(isBigEndian ? turn : turn << 8, 2);
    const std::string exif =
        (isBigEndian ? "MM\0*\0\0\0\x8\0\1"s : "II*\0\x8\0\0\0\1\0"s) + tag + value;
    if (IsWebP(file)) {
        const std::string name = turn % 2 == 0 ? "Exif\0\0"s : "";
        return ExtendWebP(file, "", MakeWebPChunk("EXIF", name + exif), 0x18);
    }
    if (IsPNG(file) || IsJPEG(file)) {
        return Insert(file, "eXIf", 0xE1, (IsPNG(file) ? ""s : "Exif\0\0"s) + exif);
    }
    const bool isBig = file[2] == '+' || file[3] == '+';  // it counts by 64 bits
    const std::string big =
        isBigEndian ? "\1\x12\0\3\0\0\0\0\0\0\0\1"s : "\x12\1\3\0\1\0\0\0\0\0\0\0"s;
    const std::string& found = isBig ? big : tag;
    return file.replace(file.find(found) + found.size(), 2, value);
}

/// Sets `abort` whenever it is read, at `start` or behind it.
struct AbortingStream : FrailStream {
    using FrailStream::FrailStream;
    std::size_t Read(std::span<std::byte> buffer) override {
        abort = GetPosition() >= start;
        return FrailStream::Read(buffer);
    }
    std::uint64_t start = 0;
    bool abort = false;
};

Kernel::Counted<DynamicBitmap> ReadScaled(Kernel::InStream& stream, Rect size, Format format,
                                          Sampler sampler) {
    auto scaled = Kernel::MakeCounted<DynamicBitmap>(size.right, size.bottom, format);
    DynamicFile file;
    EXPECT_TRUE(file.CreateFromStream(stream, DynamicFile::Reading::Scaled));
    EXPECT_TRUE(file.ReadScaled(*scaled, sampler)) << std::string_view(file.GetError());
    return scaled;
}

Kernel::Counted<DynamicBitmap> ScaleWhole(const DynamicBitmap& whole, Rect size, Format format,
                                          Sampler sampler) {
    auto scaled = Kernel::MakeCounted<DynamicBitmap>(size.right, size.bottom, format);
    const auto map = AffineTransform::Params::MapRect(
        {0, 0, double{1} * whole.GetWidth(), double{1} * whole.GetHeight()},
        {0, 0, double{1} * size.right, double{1} * size.bottom});
    EXPECT_TRUE(Render(*scaled, whole, map, sampler));
    return scaled;
}

/// The rows and columns of a stored picture's pixel (x, y) of the upright one, for each Exif value.
std::array<int, 2> FindStored(std::size_t turn, const Rect& upright, int x, int y) {
    const int right = upright.right - 1 - x;
    const int lower = upright.bottom - 1 - y;
    const int fromX[] = {x, right, right, x, y, y, lower, lower};
    const int fromY[] = {y, y, lower, lower, x, right, right, x};
    return {fromX[turn - 1], fromY[turn - 1]};
}

class EveryKind : public testing::TestWithParam<SampleFile> {};

TEST_P(EveryKind, ArrivesAsRGBA) {
    const auto picture = Decode(GetParam().bytes);
    const std::vector<int>& expected = GetParam().expected;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::byte* pixel =
            picture->GetHostView().At(0, static_cast<int>(i / 4) / SampleWidth);
        const int sample = std::to_integer<int>(pixel[i % (4 * SampleWidth)]);
        ASSERT_NEAR(sample, expected[i], GetParam().loss) << i;
    }
}

TEST_P(EveryKind, IsConvertedAndTurnedUprightAsItComes) {
    const std::string& file = GetParam().bytes;
    FrailStream stream(file);
    const auto stored = ReadPicture(stream);
    EXPECT_EQ(stored->GetFormat(), GetParam().format);
    const Format formats[] = {Format::RGBA16, Format::CMYKA8, Format::Alpha8, stored->GetFormat()};
    for (std::size_t turn = 1; turn <= 8; ++turn) {
        DynamicBitmap plain(SampleWidth, SampleHeight, formats[turn % 4]);
        Pipeline<DynamicBitmap, DynamicBitmap>::Run(plain, *stored, nullptr, plain.GetBounds());
        const auto upright = Decode(Turn(file, turn), plain.GetFormat());
        const int width = turn < 5 ? SampleWidth : SampleHeight;
        ASSERT_EQ(upright->GetBounds(), (Rect{0, 0, width, SampleWidth + SampleHeight - width}));
        for (int i = 0; i < SampleWidth * SampleHeight; ++i) {
            const int x = i % width;
            const int y = i / width;
            const auto [fromX, fromY] = FindStored(turn, upright->GetBounds(), x, y);
            const std::byte* source = plain.GetHostView().At(fromX, fromY);
            EXPECT_TRUE(std::equal(source, source + plain.GetPixelFormat().GetPixelSize(),
                                   upright->GetHostView().At(x, y)))
                << turn;
        }
    }
}

TEST_P(EveryKind, IsScaledAsAWholeAndThenTurned) {
    const std::string& file = GetParam().bytes;
    FrailStream stream(file);
    const auto whole = ReadPicture(stream);
    for (std::size_t turn = 1; turn <= 8; ++turn) {
        const Sampler sampler = Samplers[turn % 5];
        const Format format = turn % 2 == 0 ? Format::RGBA8 : Format::RGBA16;
        const Rect upright{0, 0, turn < 4 ? 4 : 27, turn % 3 == 0 ? 1 : 9};
        const auto stored =
            ScaleWhole(*whole, turn < 5 ? upright : Rect{0, 0, upright.bottom, upright.right},
                       format, sampler);
        FrailStream turned(Turn(file, turn));
        const auto scaled = ReadScaled(turned, upright, format, sampler);
        for (int i = 0; i < upright.right * upright.bottom; ++i) {
            const int x = i % upright.right;
            const int y = i / upright.right;
            const auto [fromX, fromY] = FindStored(turn, upright, x, y);
            const std::byte* source = stored->GetHostView().At(fromX, fromY);
            ASSERT_TRUE(std::equal(source, source + stored->GetPixelFormat().GetPixelSize(),
                                   scaled->GetHostView().At(x, y)))
                << turn << ": " << x << ", " << y;
        }
    }
}

#ifdef __SANITIZE_THREAD__
constexpr std::size_t Step = 16;  // one thread's work, which that sanitizer makes slow
#else
constexpr std::size_t Step = 1;
#endif

TEST_P(EveryKind, IsRefusedWhereverItIsCut) {
    std::string file = GetParam().bytes;
    for (std::size_t size = 0; size < file.size(); size += Step) {
        EXPECT_THROW(Decode(file.substr(0, size)), CodecException) << size << " of " << file.size();
        FrailStream stream(file, size);
        EXPECT_THROW(ReadPicture(stream), Kernel::IoException) << size << " of " << file.size();
    }
    if (IsJPEG(file)) {
        file.replace(file.find("\xFF\xDA") + 16, 2, "\xFF\xD9");  // the marker EOI
        EXPECT_NE(GetReasonOfRefusal(file), "none");
    }
}

TEST_P(EveryKind, SurvivesAnyWrongByteAndRefusesItInPNG) {
    std::string file = GetParam().bytes;
    for (std::size_t i = 0; i < file.size(); i += Step) {
        char& byte = file[i];
        for (const int flip : {0x01, 0x80, 0xFF}) {
            byte = static_cast<char>(byte ^ flip);
            const bool isRefused = GetReasonOfRefusal(file) != "none";
            EXPECT_TRUE(isRefused || !IsPNG(file)) << i;
            byte = static_cast<char>(byte ^ flip);
        }
    }
}

TEST_P(EveryKind, IsReadOnceUnlessAborted) {
    AbortingStream stream(GetParam().bytes);
    DynamicFile file;
    DynamicBitmap bitmap(SampleWidth, SampleHeight);
    EXPECT_FALSE(file.ReadPixels(bitmap));
    ASSERT_TRUE(file.CreateFromStream(stream));
    for (const int more : {-1, 1}) {
        DynamicBitmap wide(SampleWidth + more, SampleHeight);
        DynamicBitmap high(SampleWidth, SampleHeight + more);
        EXPECT_FALSE(file.ReadPixels(wide) || file.ReadPixels(high));
    }
    stream.abort = IsWebP(GetParam().bytes);  // of others, more is read
    EXPECT_FALSE(file.ReadPixels(bitmap, &stream.abort));
    EXPECT_EQ(file.GetError(), "the reading was aborted");
    EXPECT_TRUE(stream.GetPosition() < stream.GetSize() || GetParam().name.starts_with("TIFF") ||
                IsWebP(GetParam().bytes));
    EXPECT_FALSE(file.ReadPixels(bitmap));
}

INSTANTIATE_TEST_SUITE_P(DynamicFile, EveryKind, testing::ValuesIn(GetSampleFiles()),
                         [](const auto& test) { return test.param.name; });

TEST(DynamicFile, MayBeAbortedWhileAnInterlacedPictureIsConverted) {
    AbortingStream stream(GetSample("GreyOf16Bits"));
    stream.start = stream.GetSize() - 12;  // behind all pixels
    DynamicFile file;
    DynamicBitmap bitmap(SampleWidth, SampleHeight);
    ASSERT_TRUE(file.CreateFromStream(stream));
    EXPECT_FALSE(file.ReadPixels(bitmap, &stream.abort));
}

TEST(DynamicFile, IsScaledBandByBandAsAWhole) {
    for (const Format format : {Format::RGBA8, Format::GreyA16, Format::CMYKA8}) {
        DynamicBitmap picture(211, 307, format);
        unsigned seed = 1;
        for (std::byte* byte = picture.GetHostView().At(0, 0);
             byte != picture.GetHostView().At(0, 307); ++byte) {
            *byte = static_cast<std::byte>((seed = seed * 1'664'525 + 1'013'904'223) >> 24);
        }
        for (const Sampler sampler : Samplers) {
            for (const Rect size :
                 {Rect{0, 0, 150, 29}, {0, 0, 9, 306}, {0, 0, 211, 307}, {0, 0, 40, 700}}) {
                for (const std::size_t bandSize : {0, 9999}) {
                    const PictureHead head{211, 307, format, {}, {}};
                    DynamicBitmap scaled(size.right, size.bottom);
                    ViewTarget target(scaled.GetHostView());
                    const Scaling scaling{size.right, size.bottom, sampler};
                    ScaledRows rows(head, scaling, target, nullptr, bandSize);
                    EXPECT_LE(rows.GetSize(),
                              bandSize + 1300 * (6 * std::max(310 / size.bottom, 1) + 20));
                    rows.Allocate();
                    for (int y = 0; y < 307; ++y) {
                        const std::byte* row = picture.GetHostView().At(0, y);
                        std::copy_n(row, 211 * picture.GetPixelFormat().GetPixelSize(),
                                    rows.GetRow(y));
                        rows.FinishRow(y);
                    }
                    EXPECT_TRUE(scaled.IsEqual(*ScaleWhole(picture, size, Format::RGBA8, sampler)))
                        << static_cast<int>(sampler) << ": " << size.right << " x " << size.bottom;
                }
            }
        }
    }
}

TEST(DynamicFile, IsScaledIntoAnyTarget) {
    const std::string& sample = GetSample("ColoursOf16Bits");
    std::array<float, 3 * 4 * 6> planes{};
    PlaneTarget target(
        {planes.data(),
         4,
         24,
         4,
         6,
         {{{PlaneChannel::Role::Red}, {PlaneChannel::Role::Green}, {PlaneChannel::Role::Blue}}},
         3});
    FrailStream stream(sample);
    DynamicFile file;
    ASSERT_TRUE(file.CreateFromStream(stream));
    EXPECT_FALSE(file.ReadScaled(target, 0, 6));
    EXPECT_TRUE(file.ReadScaled(target, 4, 6));
    EXPECT_FALSE(file.ReadScaled(target, 4, 6));
    FrailStream again(sample);
    const auto expected =
        ScaleWhole(*ReadPicture(again), {0, 0, 4, 6}, Format::RGBAF, Sampler::Area);
    for (int i = 0; i < 3 * 4 * 6; ++i) {
        const std::byte* pixel = expected->GetHostView().At(i % 4, i / 4 % 6);
        EXPECT_EQ(planes[static_cast<std::size_t>(i)],
                  reinterpret_cast<const float*>(pixel)[i / 24]);
    }
}

TEST(DynamicFile, IsTurnedIntoTargetsInAlignedMemory) {
    struct AlignedTarget final : SpanTarget {
        void Write(int /*x*/, int /*y*/, std::size_t count, const float* rgba) override {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rgba) % 64, 0U);
            pixelCount += count;
        }
        void Read(int /*x*/, int /*y*/, std::size_t /*count*/, float* /*rgba*/) const override {}
        std::size_t pixelCount = 0;
    };
    for (const std::size_t turn : {1U, 3U, 6U}) {
        FrailStream stream(Turn(GetSample("ColoursOf16Bits"), turn));
        DynamicFile file;
        AlignedTarget target;
        EXPECT_TRUE(file.CreateFromStream(stream) && file.ReadScaled(target, 5, 3));
        EXPECT_EQ(target.pixelCount, 15U);
    }
}

TEST(DynamicFile, RefusesWhatExceedsTheMemoryBudget) {
    using enum DynamicFile::Reading;
    struct Case {
        const char* sample;
        std::uint64_t held;  // while it is decoded
        std::uint64_t pixels;
    };
    constexpr std::uint64_t Count = SampleWidth * SampleHeight;
    for (const auto& [sample, held, pixels] : {Case{"Grey", 0, Count * 2},
                                               {"ColoursAndAlphaOf16Bits", 0, Count * 8},
                                               {"GreyOf16Bits", Count * 4, Count * 4},
                                               {"JPEGProgressive", 3 * 2 * 3 * 128, Count * 4}}) {
        DynamicFile file;
        const auto opens = [&](DynamicFile::Reading reading, std::uint64_t budget) {
            FrailStream stream(GetSample(sample));
            return file.CreateFromStream(stream, reading, budget);
        };
        EXPECT_TRUE(opens(Whole, held + pixels)) << sample;
        EXPECT_FALSE(opens(Whole, held + pixels - 1)) << sample;
        EXPECT_TRUE(opens(Scaled, held)) << sample;
        EXPECT_FALSE(held > 0 && opens(Scaled, held - 1)) << sample;
        FrailStream stream(GetSample(sample));
        ASSERT_TRUE(file.CreateFromStream(stream, Scaled, held + 1000));
        DynamicBitmap bitmap(SampleWidth, SampleHeight);
        EXPECT_FALSE(file.ReadScaled(bitmap)) << sample;
        EXPECT_EQ(file.ReadPixels(bitmap), pixels < 1000) << sample;
    }
}

TEST(DynamicFile, IsTurnedUprightInAFormatOfTheHostsOwn) {
    PixelFormat colours = GetPixelFormat(Format::Alpha8);  // three bytes a pixel
    colours.channelCount = 3;
    colours.directConversions = {};
    colours.write = [](const float* rgba, void* target, std::size_t count) {
        for (std::size_t i = 0; i < 3 * count; ++i) {
            static_cast<std::uint8_t*>(target)[i] =
                static_cast<std::uint8_t>(rgba[i / 3 * 4 + i % 3] * 255 + 0.5f);
        }
    };
    const std::string file = Insert(GetSample("ColoursAndAlpha"), "eXIf", 0,
                                    "MM\0*\0\0\0\x8\0\1\1\x12\0\3\0\0\0\1\0\6"s);
    FrailStream stream(file);
    DynamicFile opened;
    DynamicBitmap bitmap(SampleHeight, SampleWidth, colours);
    ASSERT_TRUE(opened.CreateFromStream(stream) && opened.ReadPixels(bitmap));
    const auto expected = Decode(file);
    for (int i = 0; i < SampleWidth * SampleHeight; ++i) {
        const std::byte* pixel = bitmap.GetHostView().At(i % SampleHeight, i / SampleHeight);
        EXPECT_TRUE(std::equal(pixel, pixel + 3,
                               expected->GetHostView().At(i % SampleHeight, i / SampleHeight)));
    }
}

}  // namespace
}  // namespace Raster::Testing
