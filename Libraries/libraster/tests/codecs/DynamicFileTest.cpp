#include "Raster/CodecException.h"
#include "Raster/Compositing.h"
#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/PNGBase.h"
#include "Raster/Pipeline.h"
#include "Raster/Planes.h"

#include "codecs/ScaledRows.h"
#include "tests/codecs/SampleFiles.h"
#include "tests/colour/Profiles.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace Raster::Testing {
namespace {

using std::string_literals::operator""s;

Kernel::Counted<DynamicBitmap> Read(const std::string& file, Format format = Format::RGBA8) {
    FrailStream stream(file);
    return ReadPicture(stream, format);
}

std::string GetReasonOfRefusal(const std::string& file) {
    try {
        Read(file);
        return "none";
    } catch (const CodecException& exception) {
        return exception.what();
    }
}

bool IsPNG(const std::string& file) {
    return file[0] == '\x89';
}

/// `size` bytes, most significant first.
std::string MakeNumber(std::size_t value, std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> (8 * (size - 1 - i)) & 0xFF);
    }
    return bytes;
}

/// A chunk without its length.
std::string MakeChunk(const std::string& chunk) {
    const auto* data = reinterpret_cast<const Bytef*>(chunk.data());
    return chunk + MakeNumber(crc32(0, data, static_cast<uInt>(chunk.size())), 4);
}

std::string MakeSizedChunk(const std::string& chunk) {
    return MakeNumber(chunk.size() - 4, 4) + MakeChunk(chunk);
}

std::string Deflate(const std::string& bytes) {
    const auto length = static_cast<uLong>(bytes.size());
    uLongf size = compressBound(length);
    std::string deflated(size, '\0');
    compress(reinterpret_cast<Bytef*>(deflated.data()), &size,
             reinterpret_cast<const Bytef*>(bytes.data()), length);
    return deflated.substr(0, size);
}

/// A grey PNG file of 2 x 2 pixels with compressed rows in chunks of `pieceSize` bytes, each after
/// an empty one.
std::string MakeTiny(const std::string& deflated, std::size_t pieceSize = 1000,
                     const std::string& last = "IEND") {
    std::string file = "\x89PNG\r\n\x1A\n"s + MakeSizedChunk("IHDR\0\0\0\2\0\0\0\2\x8\0\0\0\0"s);
    for (std::size_t i = 0; i < deflated.size(); i += pieceSize) {
        file += MakeSizedChunk("IDAT") + MakeSizedChunk("IDAT" + deflated.substr(i, pieceSize));
    }
    return file + MakeSizedChunk(last) + MakeSizedChunk("IEND");
}

/// Inserts a PNG chunk or a JPEG segment before all others but IHDR or SOI.
std::string Insert(std::string file, const char* chunk, int segment, const std::string& data) {
    return IsPNG(file) ? file.insert(33, MakeNumber(data.size(), 4) + MakeChunk(chunk + data))
                       : file.insert(2, "\xFF"s + static_cast<char>(segment) +
                                            MakeNumber(data.size() + 2, 2) + data);
}

bool IsJPEG(const std::string& file) {
    return file[0] == '\xFF';
}

bool IsWebP(const std::string& file) {
    return file[0] == 'R';
}

/// With an orientation, which TIFF samples have as 1.
std::string Turn(std::string file, std::size_t turn) {
    const bool isBigEndian =
        IsPNG(file) || IsJPEG(file) || IsWebP(file) ? turn % 3 != 0 : file[0] == 'M';
    const std::string tag = isBigEndian ? "\1\x12\0\3\0\0\0\1"s : "\x12\1\3\0\1\0\0\0"s;
    const std::string value = MakeNumber(isBigEndian ? turn : turn << 8, 2);
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

constexpr Sampler Samplers[] = {Sampler::Nearest, Sampler::Bilinear, Sampler::Bicubic,
                                Sampler::Lanczos, Sampler::Area};

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
    const auto picture = Read(GetParam().bytes);
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
        const auto upright = Read(Turn(file, turn), plain.GetFormat());
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
        EXPECT_THROW(Read(file.substr(0, size)), CodecException) << size << " of " << file.size();
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

TEST(DynamicFile, RefusesHugeSizesBeforeItAllocates) {
    for (const std::string& size :
         {"\0\0\xFF\xFF\0\0\xFF\xFF"s, "\0\1\0\0\0\0\0\1"s, "\0\0\0\1\0\1\0\0"s}) {
        std::string png = GetSample("Grey");
        png.replace(12, 21, MakeChunk("IHDR" + size + png.substr(24, 5)));
        EXPECT_NE(GetReasonOfRefusal(png).find(" is too large: "), std::string::npos);
    }
    std::string jpeg = GetSample("JPEGInksTransformed");
    jpeg.replace(jpeg.find("\xFF\xC2") + 5, 4, MakeNumber(65500U << 16 | 65500U, 4));
    EXPECT_EQ(GetReasonOfRefusal(jpeg),
              "the picture of 65500 x 65500 pixels is too large: to read it takes 36468959056 "
              "bytes, and the limit is 4294967296");
}

TEST(DynamicFile, RefusesCriticalChunksThatNobodyKnows) {
    for (const char* sample : {"Grey", "ColoursAndAlpha"}) {  // the second is interlaced
        const std::string& file = GetSample(sample);
        const std::string atEnd = file.substr(0, file.size() - 12) + MakeSizedChunk("TeXT");
        EXPECT_EQ(GetReasonOfRefusal(Insert(file, "teXt", 0, "abc")), "none");
        EXPECT_NE(GetReasonOfRefusal(Insert(file, "TeXT", 0, "abc")), "none");
        EXPECT_NE(GetReasonOfRefusal(atEnd + file.substr(file.size() - 12)), "none");
    }
}

TEST(DynamicFile, JudgesCompressedRowsByTheirContent) {
    const std::string rows = "\0ab\1cd"s;
    const std::string deflated = Deflate(rows);
    std::string otherSum = deflated;
    otherSum.back() = static_cast<char>(otherSum.back() + 1);
    std::string otherMethod = deflated;
    otherMethod[0] = '\x79';
    std::string wrongBlock = deflated;
    wrongBlock[2] = '\7';
    struct Case {
        std::string file;
        bool isRefused;
    };
    const Case cases[] = {{MakeTiny(deflated), false},
                          {MakeTiny(deflated, 1), false},
                          {MakeTiny(deflated, 1000, "teXt"), false},
                          {MakeTiny(deflated, 1000, "PLTEabc"), false},
                          {MakeTiny(deflated + "more"), false},
                          {MakeTiny(deflated + Deflate("more"), 3), false},
                          {MakeTiny(Deflate(rows + rows)), false},
                          {MakeTiny(Deflate("\0ab\5cd"s)), true},
                          {MakeTiny(Deflate(rows.substr(0, 5))), true},
                          {MakeTiny(deflated.substr(0, deflated.size() - 1)), true},
                          {MakeTiny(deflated, 1000, "TeXT"), true},
                          {MakeTiny(deflated, 1000, "te1t"), true},
                          {MakeTiny(otherSum), true},
                          {MakeTiny(otherMethod), true},
                          {MakeTiny(wrongBlock), true}};
    for (const Case& test : cases) {
        EXPECT_EQ(GetReasonOfRefusal(test.file) != "none", test.isRefused)
            << &test - cases << ": " << GetReasonOfRefusal(test.file);
        if (!test.isRefused) {
            const auto picture = Read(test.file, Format::GreyA8);
            EXPECT_EQ(std::memcmp(picture->GetHostView().At(0, 1), "c\xFF\xC7\xFF", 4), 0);
        }
    }
    std::string late = MakeTiny(deflated);
    late.replace(late.size() - 24, 4, "\x80\0\0\0"s);
    EXPECT_NE(GetReasonOfRefusal(late), "none");
}

TEST(DynamicFile, RefusesScansWithoutEnd) {
    std::string jpeg = GetSample("JPEGOfThreeScans");
    const std::size_t start = jpeg.find("\xFF\xDA");
    const std::string scan = jpeg.substr(start, jpeg.find("\xFF\xDA", start + 2) - start);
    for (int i = 0; i < 100; ++i) {
        jpeg.insert(start, scan);
    }
    EXPECT_TRUE(GetReasonOfRefusal(jpeg).ends_with("it has too many scans"));
}

TEST(DynamicFile, RefusesChannelsThatAreMissingButNotPaddingBeforeTheEnd) {
    std::string jpeg = GetSample("JPEGOfThreeScans");
    const auto whole = Read(jpeg);
    const std::string padding(40, '\0');
    EXPECT_TRUE(Read(std::string(jpeg).insert(jpeg.size() - 2, padding))->IsEqual(*whole));
    std::string padded = jpeg;
    EXPECT_NE(GetReasonOfRefusal(padded.insert(padded.rfind("\xFF\xDA"), padding)), "none");
    jpeg.resize(jpeg.rfind("\xFF\xDA"));
    EXPECT_TRUE(GetReasonOfRefusal(jpeg + "\xFF\xD9").ends_with("a channel is missing"));
}

TEST(DynamicFile, IsReadWhateverItsSegmentsSay) {
    const std::string file = GetSample("JPEGInksTransformed");
    const auto whole = Read(file);
    std::string strange = file;
    strange[file.find("Adobe") + 11] = 9;  // a transform that there is not
    EXPECT_TRUE(Read(strange)->IsEqual(*whole));
    strange = GetSample("JPEGColours");
    strange[strange.find("JFIF") + 5] = 9;  // a version that there is not
    EXPECT_TRUE(Read(strange)->IsEqual(*Read(GetSample("JPEGColours"))));
    const std::string start = "MM\0*\0\0\0\x8\0\1\1\x12\0"s;
    const std::string turned = start + "\3\0\0\0\1\0\6"s;
    for (const std::string& exif :
         {start + "\3\0\0\0\1\0\0"s, start + "\3\0\0\0\1\0\x9"s, start + "\4\0\0\0\1\0\6"s,
          start + "\3\0\0\0\1"s, "MM\0+"s + turned.substr(4), "MI"s + turned.substr(2), "M"s}) {
        const std::string segment = "Exif\0\0"s + exif;
        EXPECT_TRUE(Read(Insert(file, "", 0xE1, segment))->IsEqual(*whole)) << exif;
        const std::string more = Insert(file, "", 0xE1, "Exif\0\0"s + turned);
        EXPECT_TRUE(Read(Insert(more, "", 0xE1, segment))->IsEqual(*whole));  // the first counts
    }
    for (const char length : {'\0', '\1'}) {
        const std::string segment = "\xFF\xE1\0"s + length;
        EXPECT_TRUE(GetReasonOfRefusal(std::string(file).insert(2, segment))
                        .ends_with("a segment has no length"));
    }
}

TEST(DynamicFile, PassesOverLargeChunks) {
    const std::string chunk("MM\0*\0\0\0\x8\0\1\1\x12\0\3\0\0\0\1\0\6"s);
    for (const std::size_t more : {0, 1}) {
        std::string exif = chunk;
        exif.resize(ICCProfile::MaximumSize + more);
        const std::string file = Insert(GetSample("Grey"), "eXIf", 0, exif);
        Kernel::MemoryInOutStream stream;
        stream.Write(std::as_bytes(std::span(file)));
        DynamicFile opened;
        EXPECT_TRUE(opened.CreateFromStream(stream));
        EXPECT_EQ(opened.GetWidth(), more == 0 ? SampleHeight : SampleWidth);
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
    const auto expected = Read(file);
    for (int i = 0; i < SampleWidth * SampleHeight; ++i) {
        const std::byte* pixel = bitmap.GetHostView().At(i % SampleHeight, i / SampleHeight);
        EXPECT_TRUE(std::equal(pixel, pixel + 3,
                               expected->GetHostView().At(i % SampleHeight, i / SampleHeight)));
    }
}

TEST(DynamicFile, FindsProfilesThatAreComplete) {
    const auto sRGB = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    const auto bytes = sRGB->GetBytes();
    const std::string profile(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::string first = "ICC_PROFILE\0\1\2"s + profile.substr(0, 300);
    const std::string second = "ICC_PROFILE\0\2\2"s + profile.substr(300);
    const std::string half = Insert(GetSample("JPEGColours"), "", 0xE2, first);
    const std::string whole = Insert(half, "", 0xE2, second);
    EXPECT_EQ(Read(whole)->GetProfile(), sRGB);
    EXPECT_FALSE(Read(half)->GetProfile());
    for (const char number : {'\0', '\3'}) {
        const std::string piece = "ICC_PROFILE\0"s + number + '\2' + profile;
        EXPECT_FALSE(Read(Insert(whole, "", 0xE2, piece))->GetProfile());
        EXPECT_FALSE(Read(Insert(GetSample("JPEGColours"), "", 0xE2, piece))->GetProfile());
    }
    const std::string inks = Insert(GetSample("JPEGInks"), "", 0xE2, first);
    FrailStream stream(Insert(inks, "", 0xE2, second));
    DynamicFile opened;
    EXPECT_TRUE(opened.CreateFromStream(stream));
    EXPECT_FALSE(opened.GetProfile());  // as it is one of other colours
    const std::string other = "ICC_PROFILE\0\2\3"s + profile.substr(300);
    EXPECT_FALSE(Read(Insert(Insert(GetSample("JPEGColours"), "", 0xE2, other), "", 0xE2, first))
                     ->GetProfile());
    EXPECT_FALSE(Read(Insert(whole, "", 0xE2, second))->GetProfile());
    EXPECT_EQ(Read(Insert(GetSample("ColoursOf16Bits"), "sRGB", 0, "\1"))->GetProfile(), sRGB);
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
    const auto raw = Read(file, Format::CMYKA8);
    EXPECT_EQ(raw->GetProfile(), inks);
    const auto colours = Read(file);
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
    for (const Profile& profile : {Testing::Read(MakeTable()), MakeInks()}) {
        bitmap.SetProfile(profile);
        EXPECT_FALSE(opened.ReadPixels(bitmap));
        EXPECT_NE(std::string_view(opened.GetError()).find("cannot be converted"),
                  std::string_view::npos);
        const auto source = Read(file);
        EXPECT_FALSE(Convert(bitmap, *source) || Render(bitmap, *source, {}) ||
                     CompositeOver(bitmap, *source, {}, 1));
    }
    bitmap.SetProfile(GetSRGB());
    EXPECT_TRUE(opened.ReadPixels(bitmap));
}

}  // namespace
}  // namespace Raster::Testing
