#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Raster/CodecException.h"
#include "Raster/DynamicFile.h"
#include "Raster/PNGBase.h"

#include "tests/SampleFiles.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <limits>

namespace Raster {
namespace {

using Testing::Bytes;
using Testing::SampleFile;

/// Gives and takes few bytes at a time, and fails after `capacity` of them.
class FrailStream : public Kernel::InStream, public Kernel::OutStream {
public:
    explicit FrailStream(Bytes bytes,
                         std::size_t capacity = std::numeric_limits<std::size_t>::max())
        : m_bytes(std::move(bytes)), m_capacity(capacity) {}

    std::size_t Read(std::span<std::byte> buffer) override {
        const std::size_t count =
            std::min({buffer.size(), std::size_t{3}, m_bytes.size() - m_used});
        const std::size_t start = m_used;
        Use(count);
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(start), count, buffer.begin());
        return count;
    }
    void Write(std::span<const std::byte> bytes) override { Use(bytes.size()); }

private:
    void Use(std::size_t count) {
        m_used += count;
        if (m_used > m_capacity) {
            throw Kernel::IoException("the disk is on fire");
        }
    }

    Bytes m_bytes;
    std::size_t m_capacity;
    std::size_t m_used = 0;
};

Picture Read(Bytes bytes) {
    Kernel::MemoryInOutStream stream(std::move(bytes));
    return ReadPicture(stream);
}

Picture ReadSlowly(const Bytes& bytes) {
    FrailStream stream(bytes);
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

/// Overwrites the four (or two) bytes at `at`, most significant first.
void Put(Bytes& bytes, std::size_t at, std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[at + i] = static_cast<std::byte>(value >> (8 * (size - 1 - i)));
    }
}

/// Where the JPEG marker stands that the height and width follow five bytes on; the end for PNG.
std::size_t FindJpegFrame(const Bytes& bytes) {
    for (const std::byte kind : {std::byte{0xC0}, std::byte{0xC2}}) {
        const std::array<std::byte, 3> marker{std::byte{0xFF}, kind, std::byte{0}};
        const auto found = std::ranges::search(bytes, marker);
        if (!found.empty()) {
            return static_cast<std::size_t>(found.begin() - bytes.begin());
        }
    }
    return bytes.size();
}

class EveryKind : public testing::TestWithParam<SampleFile> {};

TEST_P(EveryKind, ArrivesAsRGBA) {
    const Picture picture = ReadSlowly(GetParam().make());
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
    const std::size_t frame = FindJpegFrame(bytes);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const bool isSize = at >= frame + 5 && at < frame + 9;
        for (const std::byte flip : {std::byte{0x01}, std::byte{0x80}, std::byte{0xFF}}) {
            bytes[at] ^= flip;
            try {
                const Picture picture = Read(bytes);
                EXPECT_TRUE(isSize || picture.GetWidth() == Testing::SampleWidth) << at;
                EXPECT_TRUE(isSize || picture.GetHeight() == Testing::SampleHeight) << at;
            } catch (const CodecException&) {  // equally right
            }
            bytes[at] ^= flip;
        }
    }
}

TEST_P(EveryKind, PassesOnWhatTheStreamThrows) {
    const Bytes bytes = GetParam().make();
    for (std::size_t capacity = 0; capacity < bytes.size(); capacity += 5) {
        FrailStream stream(bytes, capacity);
        EXPECT_THROW(ReadPicture(stream), Kernel::IoException) << capacity;
    }
}

INSTANTIATE_TEST_SUITE_P(DynamicFile, EveryKind, testing::ValuesIn(Testing::GetSampleFiles()),
                         [](const auto& test) { return test.param.name; });

TEST(DynamicFile, SaysThatTextIsNoPicture) {
    const std::string_view text = "GIF89a, or a letter to a friend";
    const auto bytes = std::as_bytes(std::span(text));
    EXPECT_EQ(GetReasonOfRefusal({bytes.begin(), bytes.end()}),
              "the data is neither a PNG nor a JPEG picture");
}

TEST(DynamicFile, RefusesJpegWhosePixelsEndBeforeThePicture) {
    for (const SampleFile& file : Testing::GetSampleFiles()) {
        Bytes bytes = file.make();
        const std::array<std::byte, 2> scan{std::byte{0xFF}, std::byte{0xDA}};
        const auto found = std::ranges::search(bytes, scan);
        if (FindJpegFrame(bytes) == bytes.size()) {
            continue;  // PNG
        }
        const auto data = static_cast<std::size_t>(found.begin() - bytes.begin()) + 16;
        Put(bytes, data, 0xFFD9, 2);  // the mark of the end
        EXPECT_NE(GetReasonOfRefusal(bytes), "none") << file.name;
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
    const std::size_t frame = FindJpegFrame(jpeg);
    Put(jpeg, frame + 5, 65500, 2);
    Put(jpeg, frame + 7, 65500, 2);
    EXPECT_EQ(GetReasonOfRefusal(jpeg), "the JPEG picture has too many pixels");
}

struct WriteCase {
    const char* name;
    int channels;  // of the file
    std::array<int, 4> steps;
};

class WritePNGOf : public testing::TestWithParam<WriteCase> {};

/// A picture whose channels rise by `steps` from one pixel to the next.
Picture MakeRamp(const std::array<int, 4>& steps) {
    Picture picture(37, 21);
    for (int y = 0; y < 21; ++y) {
        for (int i = 0; i < 37 * 4; ++i) {
            const int step = steps[static_cast<std::size_t>(i % 4)];
            picture.GetRow(y)[static_cast<std::size_t>(i)] =
                static_cast<std::uint8_t>(255 - step * (y * 37 + i / 4));
        }
    }
    return picture;
}

TEST_P(WritePNGOf, KeepsEveryPixelInTheSmallestType) {
    const Picture picture = MakeRamp(GetParam().steps);
    Kernel::MemoryInOutStream stream;
    WritePNG(picture, stream);
    constexpr std::array<int, 7> ChannelsOfColourType{1, 0, 3, 0, 2, 0, 4};
    EXPECT_EQ(ChannelsOfColourType.at(static_cast<std::size_t>(stream.GetBytes()[25])),
              GetParam().channels);
    const Picture again = ReadPicture(stream);
    ASSERT_EQ(again.GetWidth(), 37);
    ASSERT_EQ(again.GetHeight(), 21);
    for (int y = 0; y < 21; ++y) {
        EXPECT_TRUE(std::ranges::equal(again.GetRow(y), picture.GetRow(y))) << y;
    }
}

INSTANTIATE_TEST_SUITE_P(PNGBase, WritePNGOf,
                         testing::Values(WriteCase{"Grey", 1, {3, 3, 3, 0}},
                                         WriteCase{"GreyAndAlpha", 2, {3, 3, 3, 1}},
                                         WriteCase{"Colours", 3, {3, 3, 5, 0}},
                                         WriteCase{"ColoursAndAlpha", 4, {3, 4, 5, 1}}),
                         [](const auto& test) { return test.param.name; });

TEST(PNGBase, PassesOnWhatTheStreamThrows) {
    const Picture picture = MakeRamp({1, 2, 3, 4});
    for (std::size_t capacity = 0; capacity < 60; ++capacity) {
        FrailStream stream({}, capacity);
        EXPECT_THROW(WritePNG(picture, stream), Kernel::IoException) << capacity;
    }
}

}  // namespace
}  // namespace Raster
