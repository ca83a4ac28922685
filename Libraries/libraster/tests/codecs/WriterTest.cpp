#include "Raster/CodecException.h"
#include "Raster/Compositing.h"
#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"
#include "Raster/Pipeline.h"
#include "Raster/Stages.h"

#include "tests/bitmaps/Noise.h"
#include "tests/codecs/SampleFiles.h"
#include "tests/colour/Profiles.h"
#include "tests/colour/SwappedProfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace Raster::Testing {
namespace {

constexpr int PictureWidth = 150;   // more than one span
constexpr int PictureHeight = 200;  // more bytes than a buffer of libjpeg holds

Kernel::Counted<DynamicBitmap> Convert(const DynamicBitmap& from, Format format) {
    auto to = Kernel::MakeCounted<DynamicBitmap>(from.GetWidth(), from.GetHeight(), format);
    Pipeline<DynamicBitmap, DynamicBitmap>::Run(*to, from, nullptr, from.GetBounds());
    return to;
}

std::byte* GetRow(DynamicBitmap& bitmap, int y) {
    return bitmap.GetHostView().At(0, y);
}

struct FlushedStream : Kernel::MemoryInOutStream {
    void Flush() override { isFlushed = true; }

    bool isFlushed = false;
};

template <class Writer>
auto WriteAndRead(const DynamicBitmap& bitmap, const ExportOptions& options) {
    FlushedStream stream;
    Writer writer(stream, bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetPixelFormat(), options);
    EXPECT_THROW(writer.Finish(), std::logic_error);
    writer.WritePixels(bitmap.GetHostView());
    EXPECT_THROW(writer.WriteRow(bitmap.GetHostView().pixels), std::logic_error);
    writer.Finish();
    EXPECT_TRUE(stream.isFlushed);
    return ReadPicture(stream);
}

TEST(Writer, KeepsEveryFormatInPNGAndAlmostInJPEG) {
    using enum Format;
    for (const Format format :
         {RGBA8, RGBA16, RGBAF, GreyA8, GreyA16, CMYKA8, LabA16, Alpha8, Alpha16, AlphaF}) {
        DynamicBitmap noise(PictureWidth, PictureHeight, format);
        unsigned seed = 1;  // floats include NaN and infinity
        for (std::byte* byte = GetRow(noise, 0); byte != GetRow(noise, PictureHeight); ++byte) {
            *byte = static_cast<std::byte>((seed = seed * 1'664'525 + 1'013'904'223) >> 24);
        }
        const int channels = noise.GetPixelFormat().channelCount;
        ExportOptions options;
        options.SetQuality(100);
        for (const int level : {-1, 1, 6}) {
            options.SetCompressionLevel(level);
            const auto png = WriteAndRead<PNGBase>(noise, options);
            EXPECT_TRUE(png->IsEqual(*Convert(noise, png->GetFormat())));
            EXPECT_EQ(png->GetPixelFormat().channelCount, channels == 2 ? 2 : 4);
            EXPECT_EQ(png->GetPixelFormat().sampleSize > 1, noise.GetPixelFormat().sampleSize > 1);
        }
        const auto jpeg = WriteAndRead<JPEGWriter>(noise, options);
        const auto expected = Convert(noise, jpeg->GetFormat());
        const int count = jpeg->GetPixelFormat().channelCount;
        EXPECT_EQ(count, channels == 1 ? 4 : channels);
        for (int i = 0; i < PictureWidth * count; ++i) {
            const int wanted = static_cast<int>(GetRow(*expected, PictureHeight - 1)[i]);
            const int sample = static_cast<int>(GetRow(*jpeg, PictureHeight - 1)[i]);
            EXPECT_NEAR(sample, i % count == count - 1 ? 255 : wanted, 6);
        }
        const DynamicBitmap even(9, 9, format);  // loses nothing
        EXPECT_EQ(*GetRow(*WriteAndRead<JPEGWriter>(even, options), 8),
                  *GetRow(*Convert(even, jpeg->GetFormat()), 8));
    }
}

TEST(Writer, WritesFilesFromWhichLibpngReadsTheSamePixels) {
    using enum Format;
    for (const Format format : {RGBA8, RGBA16, GreyA8, GreyA16}) {
        DynamicBitmap picture(PictureWidth, 3 * PictureHeight,
                              format);  // more than is compressed at a time
        unsigned seed = 1;
        for (std::byte* byte = GetRow(picture, 0); byte != GetRow(picture, 3 * PictureHeight);
             ++byte) {
            *byte = static_cast<std::byte>((seed = seed * 1'664'525 + 1'013'904'223) >> 28);
        }
        for (const auto alpha : {PNGBase::Alpha::Keep, PNGBase::Alpha::Drop}) {
            const std::size_t pixelSize = picture.GetPixelFormat().GetPixelSize();
            const std::size_t stored =
                pixelSize -
                (alpha == PNGBase::Alpha::Drop ? picture.GetPixelFormat().sampleSize : 0);
            std::vector<std::byte> expected;
            for (int i = 0; i < PictureWidth * 3 * PictureHeight; ++i) {
                const std::byte* pixel =
                    picture.GetHostView().At(i % PictureWidth, i / PictureWidth);
                expected.insert(expected.end(), pixel, pixel + stored);
            }
            for (const int level : {0, 1, 2, 3, 4}) {
                ExportOptions options;
                options.SetCompressionLevel(level);
                Kernel::MemoryInOutStream stream;
                PNGBase png(stream, PictureWidth, 3 * PictureHeight, picture.GetPixelFormat(),
                            options, alpha);
                png.WritePixels(picture.GetHostView());
                png.Finish();
                EXPECT_TRUE(ReadSamplesByLibpng(stream.GetBytes()) == expected) << level;
            }
        }
    }
}

TEST(Writer, KeepsPicturesInTheSmallestTypeOfPNG) {
    using enum Format;
    for (const SampleFile& sample : GetSampleFiles()) {
        FrailStream stream(sample.bytes);
        const auto picture = ReadPicture(stream, RGBA8);
        Kernel::MemoryInOutStream png;
        WritePNG(*picture, png);
        EXPECT_EQ(std::to_integer<int>(png.GetBytes()[25]), sample.colourType) << sample.name;
        EXPECT_TRUE(ReadPicture(png, RGBA8)->IsEqual(*picture)) << sample.name;
    }
    using Pixel = std::array<std::uint8_t, 4>;
    for (const auto& [pixel, colourType] : {std::pair{Pixel{7, 7, 7, 255}, 0},
                                            {Pixel{7, 7, 7, 254}, 4},
                                            {Pixel{7, 7, 8, 255}, 2},
                                            {Pixel{8, 7, 7, 255}, 2},
                                            {Pixel{7, 8, 7, 255}, 2},
                                            {Pixel{7, 7, 8, 0}, 6}}) {
        DynamicBitmap picture(3, 2);
        std::fill_n(picture.GetHostView().pixels, picture.GetHostView().stride * 2, std::byte{255});
        std::memcpy(picture.GetHostView().At(2, 1), pixel.data(), 4);
        for (const Format format : {RGBA8, RGBA16, RGBAF}) {
            Kernel::MemoryInOutStream png;
            WritePNG(*Convert(picture, format), png);
            EXPECT_EQ(std::to_integer<int>(png.GetBytes()[25]), colourType);
            EXPECT_TRUE(ReadPicture(png, RGBA8)->IsEqual(picture)) << colourType;
        }
    }
}

/// A file by one of the three ways to write one.
enum class Way { PNG, Smallest, JPEG };

void Write(Way way, const DynamicBitmap& bitmap, Kernel::OutStream& stream,
           const SpanStages& stages, bool* abort) {
    const auto finish = [&](auto&& writer) {
        writer.WritePixels(bitmap.GetHostView());
        writer.Finish();
    };
    const PixelFormat& format = bitmap.GetPixelFormat();
    if (way == Way::Smallest) {
        WritePNG(bitmap, stream, {}, stages, abort);
    } else if (way == Way::PNG) {
        finish(PNGBase(stream, bitmap.GetWidth(), bitmap.GetHeight(), format, {},
                       PNGBase::Alpha::Keep, stages, abort));
    } else {
        finish(
            JPEGWriter(stream, bitmap.GetWidth(), bitmap.GetHeight(), format, {}, stages, abort));
    }
}

TEST(Writer, AppliesStagesInTheirOrder) {
    using enum Format;
    for (const Format format : {RGBA8, GreyA8}) {
        const auto picture = MakeNoise(PictureWidth, PictureHeight, format, 3);
        const SpanStages chains[]{{CreateClearHiddenStage(picture->GetPixelFormat())},
                                  {CreateAlphaToGreyStage()},
                                  {CreateFlattenStage(1, 0, 1), CreateLumaToAlphaStage()}};
        for (const SpanStages& stages : chains) {
            const auto changed = picture->CloneEmpty();
            Rendering rendering;
            rendering.stages = stages;
            Pipeline<DynamicBitmap, DynamicBitmap>::Run(*changed, *picture, nullptr,
                                                        picture->GetBounds(), rendering);
            for (const Way way : {Way::PNG, Way::Smallest, Way::JPEG}) {
                Kernel::MemoryInOutStream inOne;
                Kernel::MemoryInOutStream inTwo;
                Write(way, *picture, inOne, stages, nullptr);
                Write(way, *changed, inTwo, {}, nullptr);
                EXPECT_TRUE(std::ranges::equal(inOne.GetBytes(), inTwo.GetBytes()));
            }
        }
    }
}

/// Sets the flag when `limit` bytes have been written or read.
struct AbortingStream : Kernel::MemoryInOutStream {
    void Write(std::span<const std::byte> bytes) override {
        MemoryInOutStream::Write(bytes);
        abort |= isArmed && GetSize() >= limit;
    }
    std::size_t Read(std::span<std::byte> buffer) override {
        abort |= isArmed && GetPosition() >= limit;
        return MemoryInOutStream::Read(buffer.first(std::min<std::size_t>(buffer.size(), 999)));
    }

    std::uint64_t limit = 0;
    bool isArmed = true;
    bool abort = false;
};

TEST(Writer, LeavesNothingWholeBehindWhenItIsAborted) {
    using enum Format;
    const auto picture = MakeNoise(800, 700, RGBA8, 4);
    for (const Way way : {Way::PNG, Way::Smallest, Way::JPEG}) {
        AbortingStream whole;
        whole.isArmed = false;
        Write(way, *picture, whole, {}, &whole.abort);
        for (const std::uint64_t share : {0, 3, 9}) {
            AbortingStream part;
            part.limit = whole.GetSize() * share / 10;
            EXPECT_THROW(Write(way, *picture, part, {}, &part.abort), CodecException);
            EXPECT_LT(part.GetSize(), part.limit + 500'000);  // what PNG compresses at once
            part.isArmed = false;
            EXPECT_THROW(ReadPicture(part), CodecException);
            whole.Seek(0);
            whole.limit = part.limit;
            whole.isArmed = true;
            whole.abort = false;
            EXPECT_THROW(ReadPicture(whole, &whole.abort), CodecException);
            EXPECT_LT(whole.GetPosition(), whole.limit + 40'000);
        }
    }
    bool abort = false;
    Kernel::MemoryInOutStream stream;
    JPEGWriter writer(stream, 800, 700, picture->GetPixelFormat(), {}, {}, &abort);
    writer.WritePixels(picture->GetHostView());
    abort = true;
    EXPECT_THROW(writer.Finish(), CodecException);
    EXPECT_THROW(writer.Finish(), std::logic_error);
    EXPECT_THROW(WritePNG(*picture, stream, {}, {}, &abort), CodecException);
}

TEST(Writer, TakesTheOptionsWithinTheirBounds) {
    ExportOptions options;
    const DynamicBitmap empty(PictureWidth, PictureHeight);
    for (const auto& [quality, kept] : {std::pair{-9, 1}, {89, 89}, {90, 90}, {101, 100}}) {
        options.SetQuality(quality);
        EXPECT_EQ(options.GetQuality(), kept);
        Kernel::MemoryInOutStream stream;
        JPEGWriter writer(stream, PictureWidth, PictureHeight, empty.GetPixelFormat(), options);
        writer.WritePixels(empty.GetHostView());
        writer.Finish();
        const auto bytes = stream.GetBytes();
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        // How many samples of the first channel a block has, across and down.
        EXPECT_EQ(text[text.find("\xFF\xC0") + 11], kept < 90 ? '\x22' : '\x11') << quality;
    }
    for (const auto& [level, kept] : {std::pair{-1, 0}, {9, 9}, {10, 9}}) {
        options.SetCompressionLevel(level);
        EXPECT_EQ(options.GetCompressionLevel(), kept);
    }
}

TEST(Writer, StoresProfilesThatFitAndReadersConvertThem) {
    using enum Format;
    const auto sRGB = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    ExportOptions options;
    options.SetProfile(MakeSwappedProfile());
    DynamicBitmap red(1, 1);
    GetRow(red, 0)[0] = GetRow(red, 0)[3] = std::byte{255};
    DynamicBitmap grey(1, 1, GreyA8);
    EXPECT_EQ(WriteAndRead<JPEGWriter>(red, options)->GetProfile(), options.GetProfile());
    EXPECT_FALSE(WriteAndRead<JPEGWriter>(grey, options)->GetProfile());
    EXPECT_FALSE(WriteAndRead<PNGBase>(grey, options)->GetProfile());
    for (const Format format : {RGBA8, RGBA16}) {
        Kernel::MemoryInOutStream stream;
        WritePNG(*Convert(red, format), stream, options);
        DynamicBitmap green(1, 1);
        green.SetProfile(sRGB);
        DynamicFile file;
        ASSERT_TRUE(file.CreateFromStream(stream) && file.ReadPixels(green));
        EXPECT_EQ(file.GetProfile(), options.GetProfile());
        EXPECT_EQ(GetRow(green, 0)[0], std::byte{0});
        EXPECT_EQ(GetRow(green, 0)[1], std::byte{255});
    }
    for (const auto& profile : {sRGB, options.GetProfile()}) {  // of a grey picture
        Kernel::MemoryInOutStream stream;
        grey.SetProfile(profile);
        WritePNG(grey, stream);
        EXPECT_EQ(std::to_integer<int>(stream.GetBytes()[25]), profile == sRGB ? 4 : 6);
        EXPECT_EQ(ReadPicture(stream)->GetProfile(), profile);
    }
    options.SetProfile(MakeSwappedProfile(ICCProfile::MaximumSize));
    EXPECT_EQ(WriteAndRead<PNGBase>(red, options)->GetProfile(), options.GetProfile());
    EXPECT_THROW(WriteAndRead<JPEGWriter>(red, options), CodecException);
}

TEST(Writer, MakesColoursSRGBThatNoPNGCanBeToldOf) {
    using enum Format;
    const Profile wide = MakeWide(cmsBuildGamma(nullptr, 1));
    std::vector<std::byte> odd(wide->GetBytes().begin(), wide->GetBytes().end());
    odd.push_back({});  // libpng wants sizes that are multiples of 4
    odd[3] ^= std::byte{1};
    for (const auto& [format, profile] : {std::pair{CMYKA8, MakeInks()},
                                          {RGBA8, ICCProfile::CreateFromBytes(odd)},
                                          {RGBA16, wide},
                                          {GreyA8, MakeGrey(cmsBuildGamma(nullptr, 1))}}) {
        DynamicBitmap picture(1, 1, format);
        ASSERT_TRUE(profile);
        picture.SetProfile(profile);
        alignas(64) constexpr float Colour[] = {0.6F, 0.4F, 0.5F, 1};
        picture.GetPixelFormat().write(Colour, GetRow(picture, 0), 1);
        Kernel::MemoryInOutStream stream;
        WritePNG(picture, stream);
        const auto read = ReadPicture(stream);
        EXPECT_EQ(read->GetProfile(), format == CMYKA8 || format == RGBA8 ? GetSRGB() : profile);
        alignas(64) std::array<float, 4> colours[2]{};
        for (const DynamicBitmap* bitmap : {&picture, read.Get()}) {
            DynamicBitmap shown(1, 1, RGBAF);
            shown.SetProfile(GetSRGB());
            EXPECT_TRUE(Raster::Convert(shown, *bitmap));
            std::memcpy(&colours[bitmap == &picture], GetRow(shown, 0), sizeof colours[0]);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_NEAR(colours[1][i], colours[0][i], 0.6 / 255);
        }
    }
}

TEST(Writer, PassesOnWhatTheStreamThrowsAndIsBrokenThen) {
    const DynamicBitmap empty(PictureWidth, PictureHeight);
    for (std::size_t capacity = 0; capacity < 57; ++capacity) {  // fewer bytes than any PNG has
        FrailStream disk("", capacity);
        EXPECT_THROW(WritePNG(empty, disk), Kernel::IoException) << capacity;
    }
    FrailStream disk("", 100);
    JPEGWriter writer(disk, PictureWidth, PictureHeight, empty.GetPixelFormat(), {});
    writer.WritePixels(empty.GetHostView());
    EXPECT_THROW(writer.Finish(), Kernel::IoException);
    EXPECT_THROW(writer.Finish(), std::logic_error);
    Kernel::MemoryInOutStream memory;
    PNGBase png(memory, PictureWidth, PictureHeight, empty.GetPixelFormat(), {});
    const DynamicBitmap others[]{{PictureWidth - 1, PictureHeight},
                                 {PictureWidth, PictureHeight + 1},
                                 {PictureWidth, PictureHeight, Format::RGBA16}};
    for (const DynamicBitmap& other : others) {
        EXPECT_THROW(png.WritePixels(other.GetHostView()), std::invalid_argument);
    }
    for (const int width : {0, 65'501}) {
        EXPECT_THROW(JPEGWriter(disk, width, 1, empty.GetPixelFormat(), {}), std::invalid_argument);
    }
}

}  // namespace
}  // namespace Raster::Testing
