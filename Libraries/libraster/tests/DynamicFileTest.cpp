#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Raster/CodecException.h"
#include "Raster/DynamicFile.h"
#include "Raster/PNGBase.h"

#include "tests/SampleFiles.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace Raster {
namespace {

using Testing::Bytes;
using Testing::SampleFile;

/// Gives few bytes at a time, and fails once `capacity` of them were given or taken.
class FrailStream : public Kernel::MemoryInOutStream {
public:
    explicit FrailStream(Bytes bytes, std::size_t capacity = std::size_t{1} << 30)
        : MemoryInOutStream(std::move(bytes)), m_capacity(capacity) {}

    std::size_t Read(std::span<std::byte> buffer) override {
        const std::size_t count = std::min<std::size_t>(buffer.size(), 3);
        Use(count);
        return MemoryInOutStream::Read(buffer.first(count));
    }
    void Write(std::span<const std::byte> bytes) override { Use(bytes.size()); }

private:
    void Use(std::size_t count) {
        if (count > m_capacity) {
            throw Kernel::IoException("the disk is on fire");
        }
        m_capacity -= count;
    }

    std::size_t m_capacity;
};

Picture Read(Bytes bytes) {
    Kernel::MemoryInOutStream stream(std::move(bytes));
    return ReadPicture(stream);
}

std::string GetReasonOfRefusal(Bytes bytes) {
    try {
        Read(std::move(bytes));
        return "none";
    } catch (const CodecException& exception) {
        return exception.what();
    }
}

/// Overwrites the `size` bytes at `at`, most significant first.
void Put(Bytes& bytes, std::size_t at, std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[at + i] = static_cast<std::byte>(value >> (8 * (size - 1 - i)));
    }
}

bool IsPng(const Bytes& bytes) {
    return bytes[0] == std::byte{0x89};
}

/// Where the segment of this kind begins in a JPEG file.
std::size_t FindSegment(const Bytes& jpeg, std::byte kind) {
    const std::array start{std::byte{0xFF}, kind, std::byte{0}};  // shorter than 256 bytes
    return static_cast<std::size_t>(std::ranges::search(jpeg, start).begin() - jpeg.begin());
}

class EveryKind : public testing::TestWithParam<SampleFile> {};

TEST_P(EveryKind, ArrivesAsRGBA) {
    FrailStream stream(GetParam().make());
    const Picture picture = ReadPicture(stream);
    ASSERT_EQ(picture.GetWidth(), Testing::SampleWidth);
    ASSERT_EQ(picture.GetHeight(), Testing::SampleHeight);
    for (int y = 0; y < Testing::SampleHeight; ++y) {
        for (int i = 0; i < Testing::SampleWidth * 4; ++i) {
            ASSERT_NEAR(picture.GetRow(y)[static_cast<std::size_t>(i)],
                        GetParam().expected(i / 4, y, i % 4), GetParam().tolerance)
                << "x " << i / 4 << " y " << y << " channel " << i % 4;
        }
    }
}

TEST_P(EveryKind, IsRefusedWhereverItIsCut) {
    const Bytes whole = GetParam().make();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(Read(cut), CodecException) << size << " of " << whole.size() << " bytes";
    }
}

TEST_P(EveryKind, GivesThePictureOrNothingForAnyWrongByte) {
    Bytes bytes = GetParam().make();
    const bool hasChecksums = IsPng(bytes);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const std::byte flip : {std::byte{0x01}, std::byte{0x80}, std::byte{0xFF}}) {
            bytes[at] ^= flip;
            try {
                const Picture picture = Read(bytes);
                EXPECT_TRUE(!hasChecksums || picture.GetWidth() == Testing::SampleWidth) << at;
            } catch (const CodecException&) {  // equally right
            }
            bytes[at] ^= flip;
        }
    }
}

TEST_P(EveryKind, IsKeptInTheSmallestTypeOfPNG) {
    const Picture picture = Read(GetParam().make());
    Kernel::MemoryInOutStream stream;
    WritePNG(picture, stream);
    EXPECT_EQ(std::to_integer<int>(stream.GetBytes()[25]), GetParam().colourType);
    const Picture again = ReadPicture(stream);
    ASSERT_EQ(again.GetWidth(), Testing::SampleWidth);
    ASSERT_EQ(again.GetHeight(), Testing::SampleHeight);
    for (int y = 0; y < Testing::SampleHeight; ++y) {
        EXPECT_TRUE(std::ranges::equal(again.GetRow(y), picture.GetRow(y))) << y;
    }
}

TEST_P(EveryKind, PassesOnWhatTheStreamThrows) {
    const Bytes bytes = GetParam().make();
    for (std::size_t capacity = 0; capacity < bytes.size(); capacity += 5) {
        FrailStream source(bytes, capacity);
        EXPECT_THROW(ReadPicture(source), Kernel::IoException) << capacity;
    }
    const Picture picture = Read(bytes);
    for (std::size_t capacity = 0; capacity < 57; ++capacity) {  // fewer bytes than any PNG has
        FrailStream target({}, capacity);
        EXPECT_THROW(WritePNG(picture, target), Kernel::IoException) << capacity;
    }
}

INSTANTIATE_TEST_SUITE_P(DynamicFile, EveryKind, testing::ValuesIn(Testing::GetSampleFiles()),
                         [](const auto& test) { return test.param.name; });

TEST(DynamicFile, RefusesJpegWhosePixelsEndBeforeThePicture) {
    for (const SampleFile& file : Testing::GetSampleFiles()) {
        Bytes bytes = file.make();
        if (!IsPng(bytes)) {
            Put(bytes, FindSegment(bytes, std::byte{0xDA}) + 16, 0xFFD9, 2);  // the mark of the end
            EXPECT_NE(GetReasonOfRefusal(bytes), "none") << file.name;
        }
    }
}

TEST(DynamicFile, RefusesHugeSizesBeforeItAllocates) {
    Bytes png = Testing::GetSampleFiles().front().make();
    Put(png, 16, 65535, 4);
    Put(png, 20, 65535, 4);
    const auto* chunk = reinterpret_cast<const unsigned char*>(png.data()) + 12;
    Put(png, 29, static_cast<std::uint32_t>(crc32(0, chunk, 17)), 4);
    EXPECT_EQ(GetReasonOfRefusal(png), "the PNG picture has too many pixels");

    Bytes jpeg = Testing::GetSampleFiles().back().make();
    const std::size_t frame = FindSegment(jpeg, std::byte{0xC2});  // of a progressive one
    Put(jpeg, frame + 5, 65500U << 16 | 65500U, 4);
    EXPECT_EQ(GetReasonOfRefusal(jpeg), "the JPEG picture has too many pixels");
}

}  // namespace
}  // namespace Raster
