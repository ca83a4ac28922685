#include "Raster/DynamicFile.h"

#include "tests/codecs/ForgedFiles.h"
#include "tests/colour/SwappedProfile.h"

#include <gmock/gmock.h>
#include <tiffio.h>

#include <algorithm>

namespace Raster::Testing {
namespace {

using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/// Without random access.
struct Pipe : Kernel::InStream {
    explicit Pipe(const std::string& file) : stream(file) {}
    std::size_t Read(std::span<std::byte> buffer) override { return stream.Read(buffer); }
    FrailStream stream;
};

std::string MakeNumber(std::uint64_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return bytes;
}

std::size_t ReadNumber(const std::string& file, std::size_t at, std::size_t size) {
    std::size_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(file[at + i]);
    }
    return value;
}

/// With another tag in a little-endian file, in place of one that is not needed (the orientation),
/// if it is not there.
std::string SetTag(std::string file, std::size_t tag, std::size_t value, int type = 4) {
    const std::size_t directory = ReadNumber(file, 4, 4);
    std::size_t place = 0;
    for (std::size_t i = 0; i < ReadNumber(file, directory, 2); ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        const std::size_t found = ReadNumber(file, entry, 2);
        place = found == tag || (place == 0 && found == TIFFTAG_ORIENTATION) ? entry : place;
    }
    return file.replace(place, 12,
                        MakeNumber(tag, 2) + MakeNumber(static_cast<std::size_t>(type), 2) +
                            MakeNumber(1, 4) + MakeNumber(value, 4));
}

TEST(TIFF, IsReadHoweverItIsCompressed) {
    const struct {
        int compression;
        int bits;
        int colours;
        int loss;
    } cases[]{{COMPRESSION_CCITTRLE, 1, 1, 0}, {COMPRESSION_CCITTFAX3, 1, 1, 0},
              {COMPRESSION_DEFLATE, 8, 1, 0},  {COMPRESSION_LERC, 8, 1, 0},
              {COMPRESSION_WEBP, 8, 3, 0},     {COMPRESSION_JPEG, 8, 1, 2},
              {COMPRESSION_JPEG, 8, 3, 2}};
    for (const auto& kind : cases) {
        if (TIFFIsCODECConfigured(static_cast<uint16_t>(kind.compression)) == 0) {
            continue;  // in a libtiff that was built without the library for it
        }
        const SampleFile file = MakeTIFF(kind.compression, kind.bits, kind.colours);
        FrailStream stream(file.bytes);
        DynamicFile opened;
        DynamicBitmap picture(SampleWidth, SampleHeight);
        ASSERT_TRUE(opened.CreateFromStream(stream) && opened.ReadPixels(picture))
            << kind.compression << opened.GetError();
        EXPECT_EQ(opened.GetFormat(), file.format);
        for (std::size_t i = 0; i < file.expected.size(); ++i) {
            const auto at = static_cast<int>(i / 4);
            const auto* pixel = picture.GetHostView().At(at % SampleWidth, at / SampleWidth);
            ASSERT_NEAR(std::to_integer<int>(pixel[i % 4]), file.expected[i], kind.loss)
                << kind.compression << " " << i;
        }
    }
}

TEST(TIFF, IsReadFromAPipeAndFromTheMiddleOfAStream) {
    for (const SampleFile& sample : GetSampleFiles()) {
        FrailStream stream(sample.bytes);
        FrailStream middle("before" + sample.bytes);
        middle.Seek(6);
        Pipe pipe(sample.bytes);
        const auto picture = ReadPicture(stream);
        EXPECT_TRUE(ReadPicture(pipe)->IsEqual(*picture)) << sample.name;
        EXPECT_TRUE(ReadPicture(middle)->IsEqual(*picture)) << sample.name;
    }
}

TEST(TIFF, HasAProfileIfItIsOne) {
    const auto profile = MakeSwappedProfile();
    const auto bytes = profile->GetBytes();
    std::string file = GetSample("TIFFPremultiplied");
    const std::size_t end = file.size();
    file.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    file = SetTag(file, TIFFTAG_ICCPROFILE, end, 7);
    const std::size_t entry = file.find(MakeNumber(TIFFTAG_ICCPROFILE, 2) + MakeNumber(7, 2));
    for (const std::size_t cut : {0, 1}) {
        file.replace(entry + 4, 4, MakeNumber(bytes.size() - cut, 4));
        FrailStream stream(file);
        EXPECT_EQ(ReadPicture(stream)->GetProfile() == profile, cut == 0);
    }
}

TEST(TIFF, IsRefusedSilentlyWithAReasonForWhatCannotBeRead) {
    const std::string grey = GetSample("TIFFGrey");
    const std::string tiles = GetSample("TIFFGreyOf4Bits");
    const std::string colours = GetSample("TIFFPremultiplied");
    const struct {
        std::string file;
        const char* reason;
    } cases[]{
        {SetTag(grey, TIFFTAG_IMAGEWIDTH, 65'536), "65536 x 19 pixels is too large"},
        {SetTag(grey, TIFFTAG_IMAGELENGTH, 0xFFFFFFFF), "TIFF"},
        {SetTag(grey, TIFFTAG_COMPRESSION, COMPRESSION_OJPEG, 3), "compression: 6"},
        {MakeTIFF(COMPRESSION_JBIG, 1, 1).bytes, "compression: 34661"},
        {SetTag(grey, TIFFTAG_COMPRESSION, 4711, 3), "compression: 4711"},
        {SetTag(grey, TIFFTAG_BITSPERSAMPLE, 12, 3), "bits per sample: 12"},
        {SetTag(grey, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT, 3), "sample format: 2"},
        {SetTag(grey, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CIELAB, 3), "photometric interpretation: 8"},
        {SetTag(MakeTIFF(COMPRESSION_LZW, 8, 3).bytes, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR, 3),
         "photometric interpretation: 6"},
        {SetTag(grey, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB, 3), "samples per pixel: 1"},
        {SetTag(grey, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE), "preview"},
        {SetTag(colours, TIFFTAG_SAMPLESPERPIXEL, 65, 3), "TIFF"},
        {SetTag(tiles, TIFFTAG_TILEWIDTH, 1 << 28), "the size of a tile"},
        {SetTag(tiles, TIFFTAG_TILELENGTH, 1 << 30), "too large"},
        {SetTag(tiles, TIFFTAG_TILEWIDTH, 0), "TIFF"},
        {SetTag(tiles, TIFFTAG_TILEOFFSETS, 0xFFFFFFF0), "TIFF"},
        {SetTag(tiles, TIFFTAG_TILEBYTECOUNTS, 0xFFFFFFFF), "TIFF"},
        {SetTag(grey, TIFFTAG_ROWSPERSTRIP, 0), "TIFF"},
        {SetTag(grey, TIFFTAG_ROWSPERSTRIP, 1), "TIFF"},
    };
    for (const auto& [file, reason] : cases) {
        CaptureStderr();
        EXPECT_THAT(GetReasonOfRefusal(file), HasSubstr(reason));
        EXPECT_EQ(GetCapturedStderr(), "");
    }
}

TEST(TIFF, IsReadWhateverFollowsItsFirstDirectory) {
    std::string file = GetSample("TIFFGrey");
    const std::size_t directory = ReadNumber(file, 4, 4);
    const std::size_t next = directory + 2 + 12 * ReadNumber(file, directory, 2);
    for (const std::size_t target : {directory, directory + 2, std::size_t{0xFFFFFFF0}}) {
        EXPECT_EQ(GetReasonOfRefusal(file.replace(next, 4, MakeNumber(target, 4))), "none");
    }
}

TEST(TIFF, IsRefusedWhereItsCodecsWouldMakeUpPixels) {
    const std::string jpeg = MakeTIFF(COMPRESSION_JPEG, 8, 3).bytes;
    const std::size_t scan = jpeg.find("\xFF\xDA");
    std::string cut = jpeg;
    cut.replace(scan + 20, 2, "\xFF\xD9");  // the end, too early
    EXPECT_THAT(GetReasonOfRefusal(cut), HasSubstr("TIFF"));
    std::string fax = MakeTIFF(COMPRESSION_CCITTFAX3, 1, 1).bytes;
    std::fill_n(fax.begin() + 12, 8, '\0');
    EXPECT_THAT(GetReasonOfRefusal(fax), HasSubstr("TIFF"));
}

}  // namespace
}  // namespace Raster::Testing
