#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/ZipArchive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>

#include <array>
#include <functional>
#include <random>
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
    zip_uint16_t encryption = ZIP_EM_NONE;
    zip_flags_t encoding = ZIP_FL_ENC_UTF_8;
};

/// An archive of `sources`, written by libzip.
std::string MakeZip(const std::vector<Source>& sources) {
    zip_source_t* const buffer = zip_source_buffer_create(nullptr, 0, 0, nullptr);
    zip_source_keep(buffer);
    zip_t* const archive = zip_open_from_source(buffer, ZIP_CREATE, nullptr);
    for (const Source& source : sources) {
        zip_source_t* const contents =
            zip_source_buffer(archive, source.contents.data(), source.contents.size(), 0);
        const zip_int64_t added =
            zip_file_add(archive, source.name.c_str(), contents, source.encoding);
        EXPECT_GE(added, 0) << zip_strerror(archive);
        const auto index = static_cast<zip_uint64_t>(added);
        zip_set_file_compression(archive, index, source.method, 0);
        zip_file_set_encryption(archive, index, source.encryption, "password");
        zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, source.unixMode << 16);
    }
    EXPECT_EQ(zip_close(archive), 0);
    zip_stat_t status;
    zip_source_stat(buffer, &status);
    std::string bytes(status.size, '\0');
    zip_source_open(buffer);
    EXPECT_EQ(zip_source_read(buffer, bytes.data(), bytes.size()), bytes.size());
    zip_source_close(buffer);
    zip_source_free(buffer);
    return bytes;
}

// Offsets in an entry of the directory, from the ZIP format.
constexpr std::size_t MethodField = 10;
constexpr std::size_t CrcField = 16;
constexpr std::size_t CompressedSizeField = 20;
constexpr std::size_t SizeField = 24;
constexpr std::size_t LocationField = 42;

/// Sets one byte of a little-endian field in entry `index` of the directory.
void Patch(std::string& zip, int index, std::size_t field, int value) {
    std::size_t entry = zip.find("PK\1\2");
    for (; index > 0; --index) {
        entry = zip.find("PK\1\2", entry + 1);
    }
    zip.at(entry + field) = static_cast<char>(value);
}

template <class Stream = MemoryInOutStream>
Counted<Stream> MakeStream(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return MakeCounted<Stream>(std::vector<std::byte>(bytes.begin(), bytes.end()));
}

/// All that `stream` gives, read in pieces of `pieceSize`.
std::string ReadAll(InStream& stream, std::size_t pieceSize = 1000) {
    std::string text;
    std::vector<char> piece(pieceSize);
    while (const std::size_t count = stream.Read(std::as_writable_bytes(std::span(piece)))) {
        text.append(piece.data(), count);
    }
    return text;
}

std::string GetError(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const IoException& error) {
        return error.what();
    }
    return "no IoException";
}

std::string MakeContents(std::size_t size) {
    std::mt19937 random(1);
    std::string contents(size, '\0');
    for (char& byte : contents) {
        byte = static_cast<char>(random() % 16);  // can be compressed, to a half
    }
    return contents;
}

TEST(ZipArchive, GivesEntriesInOrderAsTheyAreStored) {
    using Kind = ZipArchive::Entry::Kind;
    const std::string large = MakeContents(300'000);
    const ZipArchive archive(MakeStream(MakeZip({
        {"folder/", "", ZIP_CM_STORE},
        {"folder/stored", large, ZIP_CM_STORE, 0100644},
        {"../Größe", large},
        {"\x81\\x", "short", ZIP_CM_DEFAULT, 0, ZIP_EM_NONE, ZIP_FL_ENC_CP437},
        {"link", "../target", ZIP_CM_STORE, 0120777},
        {"device", "", ZIP_CM_STORE, 0020666},
        {"home", "", ZIP_CM_STORE, 0040755},
    })));
    std::vector<std::string> names;
    std::vector<Kind> kinds;
    std::vector<std::string> contents;
    for (const ZipArchive::Entry& entry : archive) {
        names.emplace_back(std::string_view(entry.GetName()));
        kinds.push_back(entry.GetKind());
        contents.push_back(ReadAll(*entry.Open(), 1 + 997 * contents.size()));
        EXPECT_EQ(contents.back().size(), entry.GetSize()) << names.back();
    }
    EXPECT_THAT(names, ElementsAre("folder/", "folder/stored", "../Größe", "\x81\\x", "link",
                                   "device", "home"));
    EXPECT_THAT(kinds, ElementsAre(Kind::Folder, Kind::File, Kind::File, Kind::File,
                                   Kind::SymbolicLink, Kind::Special, Kind::Folder));
    EXPECT_THAT(contents, ElementsAre("", large, large, "short", "../target", "", ""));
    EXPECT_EQ(archive.begin()[1].GetCompressedSize(), large.size());
    EXPECT_NEAR(static_cast<double>(archive.begin()[2].GetCompressedSize()), 150'000, 30'000);
}

TEST(ZipArchive, LetsStreamsTakeTurnsAndOutliveIt) {
    const std::string contents = MakeContents(100'000);
    const auto stream = MakeStream(MakeZip({{"a", contents}, {"b", contents, ZIP_CM_STORE}}));
    auto archive = MakeCounted<ZipArchive>(stream);
    const auto a = archive->Open("a");
    const auto b = archive->Open("b");
    archive = nullptr;
    std::array<std::byte, 7777> fromA{};
    std::array<std::byte, 7777> fromB{};
    std::size_t size = 0;
    while (const std::size_t count = a->ReadFully(fromA)) {
        ASSERT_EQ(b->ReadFully(fromB), count);
        ASSERT_EQ(fromA, fromB);
        stream->Seek(1);  // does not disturb them
        size += count;
    }
    EXPECT_EQ(size, contents.size());
}

TEST(ZipArchive, FindsEntriesByTheirExactName) {
    std::string zip = MakeZip({{"color.jpg", "c"}, {"twice", "1"}, {"Twice", "2"}});
    EXPECT_EQ(ReadAll(*ZipArchive(MakeStream(zip)).Open("Twice")), "2");
    Patch(zip, 2, 46, 't');
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
        zip_uint16_t encryption = ZIP_EM_NONE;
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
        {"No password", ZIP_CM_STORE, {}, ZIP_EM_TRAD_PKWARE},
    };
    for (const Case& test : cases) {
        std::string zip = MakeZip({{"x", MakeContents(1000), test.method, 0, test.encryption}});
        for (const auto& [field, value] : test.patches) {
            Patch(zip, 0, field, value);
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
    const std::string contents = MakeContents(300);
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

TEST(ZipArchive, ShowsOverlappingEntriesByTheirSizes) {
    std::string zip = MakeZip({{"a", MakeContents(100), ZIP_CM_STORE}, {"b", "", ZIP_CM_STORE}});
    Patch(zip, 1, LocationField, 0);
    Patch(zip, 1, CompressedSizeField, 100);
    std::uint64_t sum = 0;
    for (const ZipArchive::Entry& entry : ZipArchive(MakeStream(zip))) {
        sum += entry.GetCompressedSize();
    }
    EXPECT_EQ(sum, 200U);
}

TEST(ZipArchive, TakesThousandsOfEntriesButNotThousandsOfEnds) {
    std::vector<Source> sources;
    for (int i = 0; i < 5000; ++i) {
        sources.push_back({"folder/" + std::to_string(i), ""});
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
    using MemoryInOutStream::MemoryInOutStream;
    std::size_t Read(std::span<std::byte> buffer) override {
        if (failing) {
            throw IoException("cannot read /mnt/archive.zip: Input/output error");
        }
        return MemoryInOutStream::Read(buffer);
    }

    bool failing = false;
};

TEST(ZipArchive, PassesOnWhatItsStreamThrows) {
    const auto stream = MakeStream<FailingStream>(MakeZip({{"a", MakeContents(100'000)}}));
    const ZipArchive archive(stream);
    const auto entry = archive.Open("a");
    stream->failing = true;
    const char* const expected = "cannot read /mnt/archive.zip: Input/output error";
    EXPECT_EQ(GetError([&] { ReadAll(*entry); }), expected);
    EXPECT_EQ(GetError([&] { ReadAll(*entry); }), expected);
    EXPECT_EQ(GetError([&] { archive.Open("a"); }), expected);
    EXPECT_EQ(GetError([&] { ZipArchive{stream}; }), expected);
}

}  // namespace
}  // namespace Kernel
