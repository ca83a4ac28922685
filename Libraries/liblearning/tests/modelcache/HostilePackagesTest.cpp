#include "Kernel/IoException.h"

#include "modelcache/PackageInstaller.h"
#include "support/System.h"
#include "tests/modelcache/DownloadTesting.h"

#include <atomic>
#include <ostream>
#include <random>
#include <set>

namespace Learning {
namespace {

struct PackageCase {
    const char* name;
    std::string zip;
    bool isReadable;
    Tree changes;  // of the folder of the models
    std::vector<ZipEntry> entries = {};
    bool needsLinks = false;
};

void PrintTo(const PackageCase& package, std::ostream* out) {
    *out << package.name;
}

const ZipEntry Good{"good.bin", "good"};

/// A package whose entries are taken or skipped: a good one at its end shows that all were tried.
PackageCase Readable(const char* name, std::vector<ZipEntry> entries, Tree changes = {}) {
    entries.push_back(Good);
    changes["good.bin"] = "good";
    return {name, MakeZip(entries), true, std::move(changes), entries};
}

/// The same, for a package that is about links which are there.
PackageCase Linked(const char* name, std::vector<ZipEntry> entries, Tree changes = {}) {
    PackageCase package = Readable(name, std::move(entries), std::move(changes));
    package.needsLinks = true;
    return package;
}

/// A package that is refused as a whole, the good entry at its start too.
PackageCase Refused(const char* name, std::vector<ZipEntry> entries) {
    entries.insert(entries.begin(), Good);
    return {name, MakeZip(entries), false, {}, entries};
}

PackageCase Unreadable(const char* name, std::string zip) {
    return {name, std::move(zip), false, {}};
}

ZipEntry Damaged(ZipEntry entry, std::uint64_t size, std::uint32_t checksum) {
    entry.size = size;
    entry.checksum = checksum;
    return entry;
}

ZipEntry Overlapping(const char* name, std::string bytes) {
    ZipEntry entry{name, std::move(bytes)};
    entry.location = 0;
    return entry;
}

const std::uint64_t GiB = std::uint64_t{1} << 30;
const std::string GoodZip = MakeZip({Good});
const std::string Zeros("c`\30\5\xA3`\24\14w\0\0", 11);  // a thousand, deflated
const std::string Block(1'000, '\0');

const PackageCase Packages[] = {
    Unreadable("Nothing", ""),
    Unreadable("Truncated", GoodZip.substr(0, GoodZip.size() - 1)),
    Unreadable("DirectoryCut", GoodZip.substr(0, GoodZip.size() - 30)),

    Readable("Parent",
             {{"../canary", "bad"}, {"full/../../canary", "bad"}, {"full/../within", "bad"}}),
    Readable("ParentFolder", {{"../new/"}, {"full/.."}, {"../../new"}}),
    Readable("Absolute", {{"/new", "bad"}, {"//new/"}, {"/"}}),
    Readable("Backslash", {{"..\\canary", "bad"}, {"full\\new.bin", "bad"}}),
    Readable("Drive", {{"C:new", "bad"}, {"C:/new/"}, {"kept.onnx:stream", "bad"}}),
    Readable("ControlCharacter", {{"a\nb", "bad"}, {"a\x7F", "bad"}, {"a\x1B[2J/"}}),
    // libzip reads zero bytes as spaces.
    Readable("ZeroByte",
             {{std::string("a\0/../../canary", 15), "bad"}, {std::string("a\0b", 3), "new"}},
             {{"a b", "new"}}),
    Readable("NoName", {{"", "bad"}, {""}, {".", "bad"}, {"./", "bad"}, {"full/", "bad"}}),
    Readable("LongName", {{std::string(300, 'a'), "bad"}, {std::string(60'000, 'a') + "/"}}),
    Readable("TooDeep", {{"a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p/q/"}, {"full/b/c/d/e/f/g/../x", "bad"}}),
    Readable("DotsWithinName", {{"a..b.onnx", "new"}, {"./..c", "new"}},
             {{"a..b.onnx", "new"}, {"..c", "new"}}),
    Readable("Letters", {{"größe 数", "new", 0, 0, 0x800}}, {{"größe 数", "new"}}),
    // Windows would leave out dots and blanks at the end, and has no names but of letters.
    Readable("NamesOfOneSystem", {{".../"}, {".. /"}, {".. /canary", "bad"}, {"\xFF", "new"}},
             Support::IsWindows
                 ? Tree{}
                 : Tree{{"...", "/"}, {".. ", "/"}, {".. /canary", "bad"}, {"\xFF", "new"}}),

    Linked("ThroughLink", {{"out/canary", "bad"}, {"out/new.bin", "bad"}, {"out/./x/../y", "bad"}}),
    Linked("ThroughDanglingLink", {{"dangling/"}, {"dangling/new/"}, {"dangling/new", "bad"}}),
    Linked("ThroughLoop", {{"loop/"}, {"loop/new", "bad"}}),
    Linked("InPlaceOfLinks", {{"out", "new"}, {"dangling", "new"}},
           {{"out", "new"}, {"dangling", "new"}}),
    Linked("ThroughInnerLink", {{"inner/kept.bin", "new"}}, {{"full/kept.bin", "new"}}),
    Readable("LinkEntry", {{"link", "../models2", 0120777}, {"link/canary", "bad"}}),
    Readable("DeviceEntry",
             {{"device", "", 0020666}, {"pipe", "bad", 0010666}, {"x/", "", 0060666}}),

    Readable("BadChecksum", {Damaged({"kept.onnx", "bad"}, 3, 1)}),
    Readable("LessThanDeclared", {Damaged({"kept.onnx", "bad"}, 4, GetChecksum("bad"))}),
    Readable("DeclaresAGigabyte", {Damaged({"kept.onnx", "bad"}, GiB, GetChecksum("bad"))}),
    Readable("Bomb", {Damaged({"kept.onnx", Zeros, 0, 8}, 3, GetChecksum(std::string(3, '\0')))}),
    Readable("DamagedStream", {Damaged({"kept.onnx", "\xFF\xFF\xFF", 0, 8}, 100, 0)}),
    Readable("UnknownMethod", {{"kept.onnx", "bad", 0, 97}}),
    Readable("Encrypted", {{"kept.onnx", "at least twelve bytes", 0, 0, 1}}),
    Readable("Deflated", {Damaged({"new", Zeros, 0, 8}, 1'000, GetChecksum(Block))},
             {{"new", Block}}),

    Readable("FullFolderInPlace", {{"full", "bad"}, {"full/kept.bin/", ""}}),
    Readable("EmptyFolderInPlace", {{"empty", "new"}}, {{"empty", "new"}}),
    Readable("FileInPlaceOfFolder", {{"kept.onnx"}, {"kept.onnx/"}, {"kept.onnx/x", "bad"}}),
    Readable("Folders", {{"sub/"}, {"sub/a", "new"}, {"none/a", "bad"}, {"b/c"}, {"b/c/d", "new"}},
             {{"sub", "/"}, {"sub/a", "new"}, {"b", "/"}, {"b/c", "/"}, {"b/c/d", "new"}}),
    Readable("SameNameTwice", {{"a", "1"}, {"a", "2"}, {"b"}, {"b", "2"}, {"c", "1"}, {"c"}},
             {{"a", "2"}, {"b", "2"}, {"c", "1"}}),

    Readable("ManyEntries", std::vector<ZipEntry>(999, {"empty/"})),
    Refused("TooManyEntries", std::vector<ZipEntry>(1'000, {"empty/"})),
    Refused("TooManyFolders", {{std::string(2'000, '/')}}),
    Refused("TooLargeEntry", {Damaged({"a", "bad"}, 8 * GiB - 3, 0)}),
    Refused("TooLargeSum", {Damaged({"a", "bad"}, 3 * GiB, 0), Damaged({"b", "bad"}, 3 * GiB, 0),
                            Damaged({"c", "bad"}, 3 * GiB, 0)}),
    Refused("SumBeyond64Bits", {Damaged({"a", "bad"}, ~std::uint64_t{0}, 0), {"b", "bad"}}),
    Refused("Overlap", {{"a", Block}, Overlapping("b", Block), Overlapping("c", Block)}),
};

/// With files, folders and links that packages may want to touch.
class HostilePackages : public DownloadTest {
protected:
    HostilePackages() { Furnish(); }

    void Furnish() {
        namespace fs = std::filesystem;
        for (const char* folder : {"models2", "models/full", "models/empty"}) {
            fs::create_directories(m_root / folder);
        }
        for (const char* file :
             {"canary", "models2/canary", "models/kept.onnx", "models/full/kept.bin"}) {
            WriteFile(m_root / file, "kept");
        }
        if (!Support::HasLinks) {
            return;
        }
        fs::create_symlink("../models2", m_models / "out");
        fs::create_symlink("../nowhere", m_models / "dangling");
        fs::create_symlink("loop", m_models / "loop");
        fs::create_symlink("full", m_models / "inner");
    }
};

class HostilePackage : public HostilePackages, public testing::WithParamInterface<PackageCase> {};

// A model that is there before shows whether the package could be read.
TEST_P(HostilePackage, TouchesNothingButWhatItMay) {
    if (GetParam().needsLinks && !Support::HasLinks) {
        GTEST_SKIP() << "users of Windows may make no links, and Wine makes none";
    }
    ASSERT_TRUE(DownloadPackage(MakePackage()));
    Tree expected = DescribeTree(m_root);
    for (const auto& [name, contents] : GetParam().changes) {
        expected["models/" + name] = contents;
    }

    EXPECT_EQ(DownloadPackage(GetParam().zip), GetParam().isReadable);
    EXPECT_EQ(DescribeTree(m_root), expected);  // no temporary file either
}

/// A package of some entries of all the others, or of what is left of it when bytes are changed or
/// its end is lost.
std::string MakeMixture(std::mt19937& random) {
    std::vector<ZipEntry> entries;
    for (std::size_t count = random() % 8; count > 0; --count) {
        const PackageCase& package = Packages[random() % std::size(Packages)];
        if (!package.entries.empty()) {
            entries.push_back(package.entries[random() % package.entries.size()]);
        }
    }
    std::string zip = MakeZip(entries);
    for (std::size_t changes = random() % 4; changes > 0; --changes) {
        zip[random() % zip.size()] = static_cast<char>(random());
    }
    return random() % 8 == 0 ? zip.substr(0, random() % zip.size()) : zip;
}

/// What the models' folder may hold after a mixture: folders, and all the bytes of an entry.
std::set<std::string> ListWholeContents() {
    std::set<std::string> contents{"/", Block};
    for (const PackageCase& package : Packages) {
        for (const ZipEntry& entry : package.entries) {
            contents.insert(entry.bytes);
        }
    }
    contents.erase("");
    return contents;
}

/// Whether `path` is as it was, or whole and where models may be.
bool IsOldOrWhole(const Tree& before, const Tree::value_type& path) {
    static const std::set<std::string> whole = ListWholeContents();
    const auto& [name, contents] = path;
    const auto old = before.find(name);
    return (old != before.end() && old->second == contents) ||
           (name.starts_with("models/") && !name.ends_with(".part") && whole.contains(contents));
}

TEST_F(HostilePackages, LeaveWholeFilesInTheirPlacesOrNothing) {
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    const Tree before = DescribeTree(m_root);
    const std::string package = m_folder.At("package.zip");
    const int rounds = IsSoak() ? 10'000 : 200;
    int changes = 0;
    for (int round = 0; round < rounds; ++round) {
        WriteFile(package, MakeMixture(random));
        bool isRefused = false;
        try {
            InstallPackage(package, Support::FromPath(m_models) + "/");
        } catch (const Kernel::IoException&) {
            isRefused = true;
        }
        std::filesystem::remove(Support::ToPath(package));
        const Tree after = DescribeTree(m_root);
        if (after != before) {
            ++changes;
            ASSERT_FALSE(isRefused) << seed;
            for (const Tree::value_type& path : after) {
                ASSERT_TRUE(IsOldOrWhole(before, path))
                    << seed << testing::PrintToString(path).substr(0, 200);
            }
            std::filesystem::remove_all(m_models);
            Furnish();
        }
    }
    EXPECT_GT(changes, rounds / 10);
}

/// Sets a flag when something is logged.
class AbortingSink : public Kernel::DiagnosticSink {
public:
    void Write(std::string_view /*text*/) override { isAborted = true; }
    void Flush() override {}

    std::atomic<bool> isAborted = false;
};

TEST_F(DownloadTest, LeavesNothingOfAnInstallThatIsAborted) {
    const auto sink = Kernel::MakeCounted<AbortingSink>();
    const auto previous = Kernel::Log::SetSink(sink);
    std::filesystem::create_directory(m_models / "full");
    WriteFile(m_models / "full/kept", "kept");
    WriteFile(m_models / "kept.onnx", "kept");
    const Tree before = DescribeTree(m_root);
    const std::string package = m_folder.At("package.zip");
    const ZipEntry skipped{"../skipped", "bad"};  // and logged
    for (const std::vector<ZipEntry>& rest : {std::vector<ZipEntry>{}, {Good}}) {
        sink->isAborted = false;
        std::vector<ZipEntry> entries{{"full/a/b/"},        {"full/a/b/c/"},
                                      {"full/a/x", "new"},  {"kept.onnx", "new"},
                                      {"full/kept", "new"}, skipped};
        entries.insert(entries.end(), rest.begin(), rest.end());
        WriteFile(package, MakeZip(entries));
        EXPECT_THROW(InstallPackage(package, Support::FromPath(m_models) + "/", &sink->isAborted),
                     Kernel::Aborted);
        std::filesystem::remove(Support::ToPath(package));
        EXPECT_EQ(DescribeTree(m_root), before);
    }
    Kernel::Log::SetSink(previous);
}

INSTANTIATE_TEST_SUITE_P(Learning, HostilePackage, testing::ValuesIn(Packages),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace Learning
