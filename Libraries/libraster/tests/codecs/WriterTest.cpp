#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"
#include "Raster/Pipeline.h"

#include "tests/codecs/SampleFiles.h"

#include <gtest/gtest.h>

namespace Raster::Testing {
namespace {

using enum Format;

constexpr int Width = 150;  // more than one span
constexpr int Height = 9;

Kernel::Counted<DynamicBitmap> Convert(const DynamicBitmap& from, Format format) {
    auto to = Kernel::MakeCounted<DynamicBitmap>(from.GetWidth(), from.GetHeight(), format);
    Pipeline<DynamicBitmap, DynamicBitmap>::Run(*to, from, nullptr, from.GetBounds());
    return to;
}

std::byte* GetRow(DynamicBitmap& bitmap, int y) {
    return bitmap.GetHostView().At(0, y);
}

template <class Writer>
auto WriteAndRead(const DynamicBitmap& bitmap, const ExportOptions& options) {
    Kernel::MemoryInOutStream stream;
    Writer writer(stream, bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetPixelFormat(), options);
    EXPECT_THROW(writer.Finish(), std::logic_error);
    writer.WritePixels(bitmap.GetHostView());
    EXPECT_THROW(writer.WriteRow(bitmap.GetHostView().pixels), std::logic_error);
    writer.Finish();
    return ReadPicture(stream);
}

TEST(Writer, KeepsEveryFormatInPNGAndAlmostInJPEG) {
    for (const Format format :
         {RGBA8, RGBA16, RGBAF, GreyA8, GreyA16, CMYKA8, LabA16, Alpha8, Alpha16, AlphaF}) {
        DynamicBitmap noise(Width, Height, format);
        unsigned seed = 1;  // floats include NaN and infinity
        for (std::byte* byte = GetRow(noise, 0); byte != GetRow(noise, Height); ++byte) {
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
        for (int i = 0; i < Width * count; ++i) {
            const int wanted = static_cast<int>(GetRow(*expected, Height - 1)[i]);
            const int sample = static_cast<int>(GetRow(*jpeg, Height - 1)[i]);
            EXPECT_NEAR(sample, i % count == count - 1 ? 255 : wanted, 6);
        }
    }
}

TEST(Writer, KeepsPicturesInTheSmallestTypeOfPNG) {
    for (const SampleFile& sample : GetSampleFiles()) {
        FrailStream stream(sample.bytes);
        const auto picture = ReadPicture(stream, RGBA8);
        Kernel::MemoryInOutStream png;
        WritePNG(*picture, png);
        EXPECT_EQ(std::to_integer<int>(png.GetBytes()[25]), sample.colourType) << sample.name;
        EXPECT_TRUE(ReadPicture(png, RGBA8)->IsEqual(*picture)) << sample.name;
    }
}

TEST(Writer, StoresProfilesThatFitAndReadersConvertThem) {
    const auto sRGB = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    std::vector<std::byte> bytes(sRGB->GetBytes().begin(), sRGB->GetBytes().end());
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::swap(bytes[text.find("rXYZ")], bytes[text.find("gXYZ")]);  // red is green and green red
    ExportOptions options;
    options.SetProfile(ICCProfile::CreateFromBytes(bytes));
    DynamicBitmap red(1, 1);
    GetRow(red, 0)[0] = GetRow(red, 0)[3] = std::byte{255};
    DynamicBitmap grey(1, 1, GreyA8);
    EXPECT_EQ(WriteAndRead<JPEGWriter>(red, options)->GetProfile(), options.GetProfile());
    EXPECT_FALSE(WriteAndRead<JPEGWriter>(grey, options)->GetProfile());
    EXPECT_FALSE(WriteAndRead<PNGBase>(grey, options)->GetProfile());
    Kernel::MemoryInOutStream stream;
    WritePNG(red, stream, options);
    DynamicBitmap green(1, 1);
    green.SetProfile(sRGB);
    DynamicFile file;
    ASSERT_TRUE(file.CreateFromStream(stream) && file.ReadPixels(green));
    EXPECT_EQ(file.GetProfile(), options.GetProfile());
    EXPECT_EQ(GetRow(green, 0)[0], std::byte{0});
    EXPECT_EQ(GetRow(green, 0)[1], std::byte{255});
}

TEST(Writer, PassesOnWhatTheStreamThrowsAndIsBrokenThen) {
    const DynamicBitmap empty(Width, Height);
    for (std::size_t capacity = 0; capacity < 57; ++capacity) {  // fewer bytes than any PNG has
        FrailStream disk("", capacity);
        EXPECT_THROW(WritePNG(empty, disk), Kernel::IoException) << capacity;
    }
    FrailStream disk("", 100);
    JPEGWriter writer(disk, Width, Height, empty.GetPixelFormat(), {});
    writer.WritePixels(empty.GetHostView());
    EXPECT_THROW(writer.Finish(), Kernel::IoException);
    EXPECT_THROW(writer.Finish(), std::logic_error);
    for (const int width : {0, 65'501}) {
        EXPECT_THROW(JPEGWriter(disk, width, 1, empty.GetPixelFormat(), {}), std::invalid_argument);
    }
}

}  // namespace
}  // namespace Raster::Testing
