#include "Kernel/ZipArchive.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>

#include <string>
#include <utility>
#include <vector>

namespace Kernel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct Source {
    std::string name;
    std::string contents;
    zip_int32_t method = ZIP_CM_DEFLATE;
    std::uint32_t unixMode = 0;
};

/// An archive of `sources`, written by libzip.
std::string MakeZip(const std::vector<Source>& sources) {
    const Support::TestFolder folder;
    zip_t* const archive = zip_open((folder.At("zip")).c_str(), ZIP_CREATE, nullptr);
    for (const Source& source : sources) {
        zip_source_t* const contents =
            zip_source_buffer(archive, source.contents.data(), source.contents.size(), 0);
        const zip_int64_t added = zip_file_add(archive, source.name.c_str(), contents, 0);
        EXPECT_GE(added, 0) << zip_strerror(archive);
        const auto index = static_cast<zip_uint64_t>(added);
        zip_set_file_compression(archive, index, source.method, 0);
        zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, source.unixMode << 16);
    }
    EXPECT_EQ(zip_close(archive), 0);
    return ReadFile(folder.At("zip"));
}

// Offsets in an entry of the directory, from the ZIP format.
constexpr std::size_t FlagsField = 8;
constexpr std::size_t MethodField = 10;
constexpr std::size_t CrcField = 16;
constexpr std::size_t CompressedSizeField = 20;
constexpr std::size_t SizeField = 24;
constexpr std::size_t LocationField = 42;
constexpr std::size_t NameField = 46;

/// Sets one byte of a little-endian field in the last entry of the directory.
void Patch(std::string& zip, std::size_t field, int value) {
    zip.at(zip.rfind("PK\1\2") + field) = static_cast<char>(value);
}

Counted<MemoryInOutStream> MakeStream(std::string_view text) {
    auto stream = MakeCounted<MemoryInOutStream>();
    Write(*stream, text);
    return stream;
}

TEST(ZipArchive, GivesEntriesInOrderAsTheyAreStored) {
    using Kind = ZipArchive::Entry::Kind;
    const std::string large = MakeText(300'000, 16);  // can be compressed, to a half
    const std::vector<Source> sources{
        {"folder/", "", ZIP_CM_STORE},
        {"folder/stored", large, ZIP_CM_STORE, 0100644},
        {"../Größe", large},
        {"\x81\\x", "short"},
        {"link", "../target", ZIP_CM_STORE, 0120777},
        {"device", "", ZIP_CM_STORE, 0020666},
        {"home", "", ZIP_CM_STORE, 0040755},
    };
    const ZipArchive archive(MakeStream(MakeZip(sources)));
    std::vector<Kind> kinds;
    for (const ZipArchive::Entry& entry : archive) {
        const Source& source = sources.at(kinds.size());
        kinds.push_back(entry.GetKind());
        EXPECT_EQ(entry.GetName(), source.name);
        EXPECT_EQ(entry.GetSize(), source.contents.size()) << source.name;
        EXPECT_TRUE(ReadAll(*entry.Open()) == source.contents) << source.name;
    }
    EXPECT_THAT(kinds, ElementsAre(Kind::Folder, Kind::File, Kind::File, Kind::File,
                                   Kind::SymbolicLink, Kind::Special, Kind::Folder));
    EXPECT_EQ(archive.begin()[1].GetCompressedSize(), large.size());
    EXPECT_NEAR(static_cast<double>(archive.begin()[2].GetCompressedSize()), 150'000, 30'000);
}

TEST(ZipArchive, LetsStreamsTakeTurnsAndOutliveIt) {
    const std::string contents = MakeText(100'000, 16);
    const auto stream = MakeStream(MakeZip({{"a", contents}, {"b", contents, ZIP_CM_STORE}}));
    auto archive = MakeCounted<ZipArchive>(stream);
    const auto a = archive->Open("a");
    const auto b = archive->Open("b");
    archive = nullptr;
    for (std::size_t start = 0; start < contents.size(); start += 777) {
        const std::string expected = contents.substr(start, 777);
        ASSERT_EQ(ReadText(*a, 777), expected);
        ASSERT_EQ(ReadText(*b, 777), expected);
        stream->Seek(1);  // does not disturb them
    }
}

TEST(ZipArchive, FindsEntriesByTheirExactName) {
    std::string zip = MakeZip({{"color.jpg", "c"}, {"twice", "1"}, {"Twice", "2"}});
    EXPECT_EQ(ReadAll(*ZipArchive(MakeStream(zip)).Open("Twice")), "2");
    Patch(zip, NameField, 't');
    const ZipArchive archive(MakeStream(zip));
    EXPECT_EQ(ReadAll(*archive.Open("color.jpg")), "c");
    EXPECT_EQ(GetError([&] { archive.Open("Color.jpg"); }),
              "the ZIP archive has no entry Color.jpg");
    EXPECT_EQ(GetError([&] { archive.Open("twice"); }),
              "the ZIP archive has several entries twice");
    EXPECT_EQ(GetError([] { ZipArchive(MakeStream("<html>not found</html>")); }),
              "cannot read the ZIP archive: Not a zip archive");
}

TEST(ZipArchive, RefusesDamagedEntriesAtTheLastByteAtTheLatest) {
    struct Case {
        const char* error;
        zip_int32_t method;
        std::vector<std::pair<std::size_t, int>> patches;  // field and value
    };
    const Case cases[] = {
        {"CRC error", ZIP_CM_STORE, {{CrcField, 0}}},
        {"inconsistent", ZIP_CM_STORE, {{SizeField + 1, 4}}},
        {"not of the size", ZIP_CM_DEFLATE, {{SizeField + 1, 4}}},
        {"not of the size", ZIP_CM_STORE, {{SizeField + 1, 2}}},
        {"not of the size", ZIP_CM_DEFLATE, {{SizeField + 1, 2}}},
        {"end of file", ZIP_CM_STORE, {{SizeField + 1, 4}, {CompressedSizeField + 1, 4}}},
        {"x in the ZIP archive", ZIP_CM_STORE, {{LocationField + 3, 99}}},
        {"not supported", ZIP_CM_STORE, {{MethodField, 77}}},
        {"Zlib error", ZIP_CM_STORE, {{MethodField, 8}}},
        {"No password", ZIP_CM_STORE, {{FlagsField, 1}}},
    };
    for (const Case& test : cases) {
        std::string zip = MakeZip({{"x", MakeText(1000, 16), test.method}});
        for (const auto& [field, value] : test.patches) {
            Patch(zip, field, value);
        }
        const std::string error = GetError([&zip] {
            const ZipArchive archive(MakeStream(zip));
            const auto stream = archive.Open("x");
            std::vector<std::byte> all(archive.begin()->GetSize());  // and not a byte beyond
            EXPECT_THROW(stream->ReadFully(all), IoException);
            stream->ReadFully(all);
        });
        EXPECT_THAT(error, HasSubstr(test.error));
    }
}

/// Whether all of `zip` can be read. What can be must be `contents`, whatever the damage.
bool CanBeRead(const std::string& zip, const std::string& contents) {
    return GetError([&] {
               for (const ZipArchive archive(MakeStream(zip)); const auto& entry : archive) {
                   EXPECT_TRUE(ReadAll(*entry.Open()) == contents);
               }
           }) == "no IoException";
}

TEST(ZipArchive, SurvivesEveryCutAndEveryFlippedBit) {
    const std::string contents = MakeText(300, 16);
    const std::string zip = MakeZip({{"a", contents}, {"b", contents, ZIP_CM_STORE}});
    ASSERT_TRUE(CanBeRead(zip, contents));
    for (std::size_t size = 0; size < zip.size(); ++size) {
        EXPECT_FALSE(CanBeRead(zip.substr(0, size), contents)) << size;
    }
    for (std::size_t bit = 0; bit < 8 * zip.size(); ++bit) {
        std::string flipped = zip;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        CanBeRead(flipped, contents);
    }
}

TEST(ZipArchive, TakesThousandsOfEntriesButNotThousandsOfEnds) {
    std::vector<Source> sources(5000);
    for (std::size_t i = 0; i < sources.size(); ++i) {
        sources[i].name = std::to_string(i);
    }
    std::string zip = MakeZip(sources);
    EXPECT_EQ(ZipArchive(MakeStream(zip)).GetEntryCount(), 5000U);
    const std::string end = zip.substr(zip.size() - 22);
    for (int i = 0; i < 2500; ++i) {  // libzip alone takes a minute
        zip += end;
    }
    EXPECT_EQ(GetError([&zip] { ZipArchive(MakeStream(zip)); }),
              "cannot read the ZIP archive: it has too many ends");
}

/// A device that fails once `failing` is set.
class FailingStream : public MemoryInOutStream {
public:
    std::size_t Read(std::span<std::byte> buffer) override {
        if (failing) {
            throw IoException("cannot read /mnt/archive.zip: Input/output error");
        }
        return MemoryInOutStream::Read(buffer);
    }

    bool failing = false;
};

TEST(ZipArchive, PassesOnWhatItsStreamThrows) {
    const auto stream = MakeCounted<FailingStream>();
    const std::string contents = MakeText(100'000);
    std::string zip = MakeZip({{"a", contents}, {"b", contents}});
    Patch(zip, MethodField, 77);
    Write(*stream, zip);
    const ZipArchive archive(stream);
    const auto entry = archive.Open("a");
    stream->failing = true;
    const char* const expected = "cannot read /mnt/archive.zip: Input/output error";
    EXPECT_EQ(GetError([&] { ReadAll(*entry); }), expected);
    EXPECT_EQ(GetError([&] { archive.Open("a"); }), expected);
    EXPECT_EQ(GetError([&] { ZipArchive{stream}; }), expected);
    stream->failing = false;
    EXPECT_THAT(GetError([&] { archive.Open("b"); }), HasSubstr("b in the ZIP archive"));
    EXPECT_TRUE(ReadAll(*archive.Open("a")) == contents);
}

}  // namespace
}  // namespace Kernel
