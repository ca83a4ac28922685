#include "Kernel/ZipArchive.h"

#include "support/ZipBuilder.h"
#include "tests/StreamTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Kernel {
namespace {

using Support::ToBytes;
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
    zip_source_t* const target = zip_source_buffer_create(nullptr, 0, 0, nullptr);
    zip_source_keep(target);
    zip_t* const archive = zip_open_from_source(target, ZIP_TRUNCATE, nullptr);
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
    std::string zip(1 << 20, '\0');
    zip_source_open(target);
    zip.resize(static_cast<std::size_t>(zip_source_read(target, zip.data(), zip.size())));
    zip_source_close(target);
    zip_source_free(target);
    return zip;
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
    const std::string contents = MakeText(150, 16);
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

/// Counts what is read, and sets a flag at some point.
class WatchedStream : public MemoryInOutStream {
public:
    explicit WatchedStream(std::string_view text) { Kernel::Write(*this, text); }

    std::size_t Read(std::span<std::byte> buffer) override {
        const std::size_t count = MemoryInOutStream::Read(buffer);
        bytesRead += count;
        isAborted = bytesRead > abortAt;
        return count;
    }

    std::size_t bytesRead = 0;
    std::size_t abortAt = std::numeric_limits<std::size_t>::max();
    std::atomic<bool> isAborted = false;
};

TEST(ZipArchive, TakesThousandsOfEntriesAndOfEnds) {
    std::string zip = Support::MakeZip(std::vector<Support::ZipEntry>(5000, {"name"}));
    const std::string end = zip.substr(zip.size() - 22);
    for (int i = 0; i < 2500; ++i) {
        zip += end;
    }
    const auto stream = MakeCounted<WatchedStream>(zip);
    EXPECT_EQ(ZipArchive(stream).GetEntryCount(), 5000U);
    EXPECT_LT(stream->bytesRead, zip.size());  // libzip alone reads the directory for each end
}

TEST(ZipArchive, ReadsTheLastDirectoryOfAnArchiveThatWasChanged) {
    const std::string old = Support::MakeZip({{"deleted", "1"}, {"kept", "2"}});
    const std::size_t start = old.rfind("PK\1\2");
    const std::string directory = old.substr(start, old.size() - 22 - start);
    const ZipArchive archive(MakeStream(old + directory + "PK\5\6" + ToBytes(0, 4) +
                                        ToBytes(0x10001, 4) + ToBytes(directory.size(), 4) +
                                        ToBytes(old.size(), 4) + ToBytes(0, 2)));
    EXPECT_EQ(archive.GetEntryCount(), 1U);
    EXPECT_EQ(ReadAll(*archive.Open("kept")), "2");
}

/// The processor time that it takes to open an archive of 30,000 entries with names of 32 letters,
/// each of 16 parts: one of two, by the bits of the number of the entry.
std::clock_t MeasureOpening(const char* zero, const char* one) {
    std::vector<Support::ZipEntry> entries(30'000);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        for (int bit = 0; bit < 16; ++bit) {
            entries[i].name += (i >> bit) % 2 == 0 ? zero : one;
        }
    }
    const auto stream = MakeStream(Support::MakeZip(entries));
    const std::clock_t start = std::clock();
    const ZipArchive archive(stream);
    const std::clock_t duration = std::clock() - start;
    EXPECT_EQ(archive.GetEntryCount(), entries.size());
    EXPECT_EQ(archive.begin()[20'000].GetName(), entries[20'000].name);
    return duration;
}

// In libzip's table 33 * 'A' + 'B' is 33 * 'B' + '!', so that all names are in one chain: it would
// take twenty times as long.
TEST(ZipArchive, OpensInTheSameTimeWhateverItsNames) {
    EXPECT_LT(MeasureOpening("AB", "B!"), 4 * MeasureOpening("AB", "CD"));
}

/// The end of an archive by the rules of Zip64.
std::string FormatEnd64(std::uint64_t count, std::uint64_t size, std::uint64_t start) {
    return "PK\6\6" + ToBytes(44, 8) + ToBytes(45, 2) + ToBytes(45, 2) + ToBytes(0, 8) +
           ToBytes(count, 8) + ToBytes(count, 8) + ToBytes(size, 8) + ToBytes(start, 8) + "PK\6\7" +
           ToBytes(0, 4) + ToBytes(start + size, 8) + ToBytes(1, 4) +  //
           "PK\5\6" + ToBytes(0, 4) + std::string(12, '\xFF') + ToBytes(0, 2);
}

/// Zeros up to a place beyond 4 GiB, and `text` there.
class FarStream : public MemoryInOutStream {
public:
    static constexpr std::uint64_t Start = std::uint64_t{5} << 30;

    explicit FarStream(std::string_view text) { Kernel::Write(*this, text); }

    std::size_t Read(std::span<std::byte> buffer) override {
        if (m_position >= Start) {
            MemoryInOutStream::Seek(m_position - Start);
            buffer = buffer.first(MemoryInOutStream::Read(buffer));
        } else {
            buffer = buffer.first(std::min<std::uint64_t>(buffer.size(), Start - m_position));
            std::ranges::fill(buffer, std::byte{});
        }
        m_position += buffer.size();
        return buffer.size();
    }
    std::uint64_t GetSize() override { return Start + MemoryInOutStream::GetSize(); }
    std::uint64_t GetPosition() override { return m_position; }
    void Seek(std::uint64_t position) override { m_position = position; }

private:
    std::uint64_t m_position = 0;
};

TEST(ZipArchive, TakesZip64) {
    const std::string zip = Support::MakeZip({{"x", "text"}});
    const std::size_t start = zip.find("PK\1\2");
    std::string directory = zip.substr(start, zip.size() - start - 22);
    const std::string near = zip.substr(0, start) + directory;
    const std::string nearEnd = FormatEnd64(1, directory.size(), start);
    for (const std::string& comment : {std::string(), nearEnd, std::string("behind the end")}) {
        const ZipArchive archive(MakeStream(near + nearEnd + comment));
        EXPECT_EQ(ReadAll(*archive.Open("x")), "text");
    }
    directory.replace(30, 2, ToBytes(12, 2));
    directory.replace(LocationField, 4, "\xFF\xFF\xFF\xFF");
    directory += ToBytes(1, 2) + ToBytes(8, 2) + ToBytes(FarStream::Start, 8);
    const ZipArchive far(
        MakeCounted<FarStream>(zip.substr(0, start) + directory +
                               FormatEnd64(1, directory.size(), FarStream::Start + start)));
    EXPECT_EQ(ReadAll(*far.Open("x")), "text");
}

TEST(ZipArchive, RefusesADirectoryThatItsEndDoesNotDeclare) {
    const std::string zip = Support::MakeZip({{"x", "text"}, {"y", "text"}});
    const std::size_t start = zip.find("PK\1\2");
    const std::size_t size = zip.size() - start - 22;
    const std::string front = zip.substr(0, start + size);
    const std::string end64 = FormatEnd64(2, size, start);
    const auto patch = [](std::string text, std::size_t offset, const std::string& bytes) {
        return text.replace(offset, bytes.size(), bytes);
    };
    std::string ends;  // in the fields of entries, each for a thousand of these
    for (int i = 0; i < 2000; ++i) {
        ends += "PK\1\2PK\5\6" + ToBytes(0, 4) + ToBytes(1000 * 0x10001, 4) +
                ToBytes(1000 * NameField, 4) + ToBytes(0, 26);
    }
    ASSERT_EQ(ZipArchive(MakeStream(front + end64)).GetEntryCount(), 2U);
    const std::pair<const char*, std::string> cases[] = {
        {"its directory is damaged", patch(zip, zip.size() - 14, ToBytes(0x30003, 4))},
        {"its directory has more entries", patch(zip, zip.size() - 14, ToBytes(0x10001, 4))},
        {"it is one of several parts", patch(zip, zip.size() - 14, "\1")},
        {"it is one of several parts", patch(zip, zip.size() - 18, "\1")},
        {"it is one of several parts", patch(zip, zip.size() - 16, "\1")},
        {"its end is damaged", patch(zip, zip.size() - 10, ToBytes(size + 1, 4))},
        {"its directory is damaged", patch(zip, zip.size() - 10, ToBytes(size - 1, 4))},
        {"its directory is damaged", patch(zip, zip.size() - 6, ToBytes(start - 1, 4))},
        {"its end is damaged", patch(zip, zip.size() - 6, "\xFF\xFF\xFF\xFF")},
        {"it has too many entries", front + FormatEnd64(0x10000, size, start)},
        {"its end is damaged", front + FormatEnd64(2, ~0ULL, start)},
        {"its end is damaged", front + FormatEnd64(2, size, start + 1)},
        {"its end is damaged", front + patch(end64, 0, "no")},
        {"its end is damaged", front + patch(end64, 56 + 8, std::string(8, '\xFF'))},
        {"it has too many ends", ends + FormatEnd64(2000, ends.size(), 0)},
        {"its ends contradict each other", front + patch(end64, 76 + 8, ToBytes(0x10001, 4))},
        {"its ends contradict each other", front + patch(end64, 76 + 12, ToBytes(1, 4))},
        {"its ends contradict each other", front + patch(end64, 76 + 16, ToBytes(1, 4))},
    };
    for (const auto& [error, broken] : cases) {
        EXPECT_THAT(GetError([&text = broken] { ZipArchive(MakeStream(text)); }), HasSubstr(error));
    }
}

TEST(ZipArchive, EndsWithin256KiBOnceItIsAborted) {
    std::string blocks;  // empty ones, of which a decompressor may take any number for one byte
    for (int i = 0; i < 400'000; ++i) {
        blocks += std::string("\0\0\0\xFF\xFF", 5);
    }
    Support::ZipEntry nothing{"nothing", blocks, 0, 8};
    nothing.size = 1;
    const auto stream = MakeCounted<WatchedStream>(Support::MakeZip({{"stored", blocks}, nothing}));
    for (const char* const name : {"stored", "nothing"}) {
        stream->isAborted = false;
        stream->abortAt = std::numeric_limits<std::size_t>::max();
        const ZipArchive archive(stream, &stream->isAborted);
        const auto contents = archive.Open(name);
        stream->bytesRead = 0;
        stream->abortAt = 300'000;
        std::vector<std::byte> all(blocks.size());
        EXPECT_THROW(contents->ReadFully(all), Aborted) << name;
        EXPECT_LE(stream->bytesRead, stream->abortAt + 262'144) << name;
        EXPECT_THROW(archive.Open(name), Aborted) << name;
        EXPECT_THROW(ZipArchive(stream, &stream->isAborted), Aborted) << name;
    }
}

TEST(ZipArchive, GivesNoMoreThan256KiBWithoutALookAtItsFlag) {
    const ZipArchive archive(MakeStream(MakeZip({{"zeros", std::string(2'000'000, '\0')}})));
    std::vector<std::byte> all(2'000'000);
    EXPECT_LE(archive.Open("zeros")->Read(all), 262'144U);
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
