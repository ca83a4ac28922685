#include "Raster/ICCProfile.h"

#include "tests/codecs/ForgedFiles.h"

#include <gtest/gtest.h>

#include <cstring>

namespace Raster::Testing {
namespace {

std::string MakeSizedChunk(const std::string& chunk) {
    return MakeBigEndian(chunk.size() - 4, 4) + MakeChunk(chunk);
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

TEST(DynamicFile, RefusesHugeSizesBeforeItAllocates) {
    for (const std::string& size :
         {"\0\0\xFF\xFF\0\0\xFF\xFF"s, "\0\1\0\0\0\0\0\1"s, "\0\0\0\1\0\1\0\0"s}) {
        std::string png = GetSample("Grey");
        png.replace(12, 21, MakeChunk("IHDR" + size + png.substr(24, 5)));
        EXPECT_NE(GetReasonOfRefusal(png).find(" is too large: "), std::string::npos);
    }
    std::string jpeg = GetSample("JPEGInksTransformed");
    jpeg.replace(jpeg.find("\xFF\xC2") + 5, 4, MakeBigEndian(65500U << 16 | 65500U, 4));
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
            const auto picture = Decode(test.file, Format::GreyA8);
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
    const auto whole = Decode(jpeg);
    const std::string padding(40, '\0');
    EXPECT_TRUE(Decode(std::string(jpeg).insert(jpeg.size() - 2, padding))->IsEqual(*whole));
    std::string padded = jpeg;
    EXPECT_NE(GetReasonOfRefusal(padded.insert(padded.rfind("\xFF\xDA"), padding)), "none");
    jpeg.resize(jpeg.rfind("\xFF\xDA"));
    EXPECT_TRUE(GetReasonOfRefusal(jpeg + "\xFF\xD9").ends_with("a channel is missing"));
}

TEST(DynamicFile, IsReadWhateverItsSegmentsSay) {
    const std::string file = GetSample("JPEGInksTransformed");
    const auto whole = Decode(file);
    std::string strange = file;
    strange[file.find("Adobe") + 11] = 9;  // a transform that there is not
    EXPECT_TRUE(Decode(strange)->IsEqual(*whole));
    strange = GetSample("JPEGColours");
    strange[strange.find("JFIF") + 5] = 9;  // a version that there is not
    EXPECT_TRUE(Decode(strange)->IsEqual(*Decode(GetSample("JPEGColours"))));
    const std::string start = "MM\0*\0\0\0\x8\0\1\1\x12\0"s;
    const std::string turned = start + "\3\0\0\0\1\0\6"s;
    for (const std::string& exif :
         {start + "\3\0\0\0\1\0\0"s, start + "\3\0\0\0\1\0\x9"s, start + "\4\0\0\0\1\0\6"s,
          start + "\3\0\0\0\1"s, "MM\0+"s + turned.substr(4), "MI"s + turned.substr(2), "M"s}) {
        const std::string segment = "Exif\0\0"s + exif;
        EXPECT_TRUE(Decode(Insert(file, "", 0xE1, segment))->IsEqual(*whole)) << exif;
        const std::string more = Insert(file, "", 0xE1, "Exif\0\0"s + turned);
        EXPECT_TRUE(Decode(Insert(more, "", 0xE1, segment))->IsEqual(*whole));  // the first counts
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

}  // namespace
}  // namespace Raster::Testing
