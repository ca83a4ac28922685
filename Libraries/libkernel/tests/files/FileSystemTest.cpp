#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

#include "support/System.h"
#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/StreamTexts.h"
#include "tests/files/TemporaryFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <limits>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace Kernel::FileSystem {
namespace {

TEST(FileSystem, CreatesFoldersAndThoseAbove) {
    const Support::TestFolder folder;
    for (int i = 0; i < 20; ++i) {  // threads get in each other's way more often than not
        const std::string path = folder.At("ä/Ω😀/" + std::to_string(i));
        Support::RunOnThreads(
            4, [&](int /*thread*/) { EXPECT_TRUE(CreateDirectoryRecursive(path + "/b/c/")); });
        EXPECT_EQ(GetNames(path + "/b"), std::vector<String>{"c"});
        EXPECT_TRUE(CreateDirectoryRecursive(path));
    }

    WriteFile(folder.At("file"), "text");
    EXPECT_FALSE(CreateDirectoryRecursive(folder.At("file")));
    EXPECT_FALSE(CreateDirectoryRecursive(folder.At("file/below")));
    EXPECT_EQ(ReadFile(folder.At("file")), "text");
}

TEST(FileSystem, DeletesFilesAndEmptyFolders) {
    const Support::TestFolder folder;
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("full/empty")));
    WriteFile(folder.At("file"), "text");
    EXPECT_FALSE(Delete(folder.At("full")));
    for (const char* const kept : {"full", "file"}) {
        EXPECT_FALSE(DeleteEmptyFolder(folder.At(kept))) << kept;
        EXPECT_TRUE(Exists(folder.At(kept))) << kept;
    }
    EXPECT_TRUE(DeleteEmptyFolder(folder.At("full/empty")));
    EXPECT_FALSE(DeleteEmptyFolder(folder.At("full/empty")));
    for (const char* const gone : {"full", "file", "missing"}) {
        EXPECT_TRUE(Delete(folder.At(gone))) << gone;
        EXPECT_FALSE(Exists(folder.At(gone))) << gone;
    }
}

TEST(FileSystem, DoesNotCutPathsAtAZeroByte) {
    const Support::TestFolder folder;
    WriteFile(folder.At("file"), "text");
    const String path = folder.At(std::string_view("file\0.txt", 9));
    EXPECT_FALSE(Exists(path));
    EXPECT_FALSE(Delete(path));
    EXPECT_FALSE(DeleteAll(path));
    EXPECT_FALSE(CreateDirectoryRecursive(folder.At(std::string_view("new\0folder", 10))));
    EXPECT_THROW(RefuseOtherThanFile(path), IoException);
    EXPECT_FALSE(GetEnv(std::string_view("PATH\0x", 6)));
    EXPECT_EQ(ReadFile(folder.At("file")), "text");
    EXPECT_FALSE(Exists(folder.At("new")));
}

TEST(FileSystem, TellsWhatStandsAtAPath) {
    using Kind = Status::Kind;
    const Support::TestFolder folder;
    folder.Write("Ω", "text");
    const Status file = Examine(folder.At("Ω"));
    EXPECT_EQ(file.kind, Kind::File);
    EXPECT_EQ(file.size, 4U);
    // The clock counts from the end of a century to come, and FAT writes every two seconds.
    const auto age = std::filesystem::file_time_type::clock::now() - file.modified;
    EXPECT_LT(std::chrono::abs(age), std::chrono::minutes(1));

    const std::filesystem::path place = Support::ToPath(folder.At("Ω"));
    const std::chrono::sys_seconds noon =
        std::chrono::sys_days(std::chrono::year(2001) / 2 / 3) + std::chrono::hours(12);
    const auto then = std::chrono::file_clock::from_sys(noon);
    std::filesystem::last_write_time(place, then);
    EXPECT_EQ(Examine(folder.At("Ω")).modified, then);
    std::filesystem::resize_file(place, (std::uint64_t{1} << 32) + 7);
    EXPECT_EQ(Examine(folder.At("Ω")).size, (std::uint64_t{1} << 32) + 7);

    const std::pair<std::string, Kind> others[] = {
        {folder.At(""), Kind::Folder},
        {folder.At("missing"), Kind::None},
        {folder.At("missing/below"), Kind::None},
        {folder.At("Ω/below"), Kind::None},
        {Support::IsWindows ? "NUL" : "/dev/null", Kind::Other}};
    for (const auto& [path, kind] : others) {
        const Status status = Examine(path);
        EXPECT_EQ(status.kind, kind) << path;
        EXPECT_EQ(status.size, 0U) << path;
        EXPECT_FALSE(status.error) << path << ": " << status.error.message();
    }
    const Status nameless = Examine(folder.At(std::string_view("Ω\0", 3)));
    EXPECT_EQ(nameless.kind, Kind::None);
    EXPECT_TRUE(nameless.error);
}

TEST(FileSystem, KnowsTheRoomThatADiskHas) {
    const Support::TestFolder folder;
    const std::uint64_t room = GetFreeBytes(folder.At(""));
    EXPECT_GT(room, 0U);
    EXPECT_LT(room, std::uint64_t{1} << 60);
    EXPECT_EQ(GetFreeBytes(folder.At("missing")), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(TemporaryFiles, AreNewAndEmpty) {
    std::mutex mutex;
    std::set<String> paths;
    Support::RunOnThreads(4, [&](int /*thread*/) {
        for (int i = 0; i < 250; ++i) {
            const String path = GetUniqueTemporaryFilename("%1.ä");
            const std::lock_guard lock(mutex);
            paths.insert(path);
        }
    });
    EXPECT_EQ(paths.size(), 1000U);
    for (const String& path : paths) {
        ASSERT_EQ(std::string_view(path).find(m_folder.At(TemporaryFilePrefix)), 0U)
            << path.c_str();
        EXPECT_EQ(std::filesystem::file_size(Support::ToPath(path)), 0U);
    }
}

TEST_F(TemporaryFiles, AreRefusedWhereNoneCanBe) {
    EXPECT_EQ(GetUniqueTemporaryFilename("fixed"), m_folder.At("fixed"));
    EXPECT_THROW((void)GetUniqueTemporaryFilename("fixed"), IoException);
    EXPECT_THROW((void)GetUniqueTemporaryFilename("missing/%1"), IoException);
    SetFolder(m_folder.At("missing"));
    EXPECT_THROW((void)GetUniqueTemporaryFilename("%1"), IoException);
}

TEST(FileSystem, KnowsOnePathForEachPlace) {
    const Support::TestFolder folder;
    String root = GetCanonicalPath(folder.At("x"));
    root.resize(root.size() - 2);
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("ä/b")));
    EXPECT_EQ(GetCanonicalPath(folder.At("./ä/b/../x//y")), GetCanonicalPath(folder.At("ä/x/y")));
    EXPECT_EQ(GetCanonicalPath(folder.At("ä/x/y")), root + "/ä/x/y");
    EXPECT_EQ(std::string_view(GetCanonicalPath(folder.At("ä/x"))).find(root), 0U);
    EXPECT_EQ(GetCanonicalPath(".") + "/x", GetCanonicalPath("x"));
    EXPECT_EQ(GetCanonicalPath(GetAbsolutePath("x")), GetCanonicalPath("x"));
    EXPECT_TRUE(GetNames(folder.At("none")).empty());
    EXPECT_THROW((void)GetNames(folder.Write("file", "")), IoException);
    EXPECT_THROW(GetCanonicalPath(std::string_view("a\0b", 3)), IoException);
}

TEST(FileSystem, KeepsOthersOutOfWhatItsOwnerGoesOnUsing) {
    const Support::TestFolder folder;
    const std::string file = folder.Write("file", "old");
    for (const std::string& path : {file, folder.At("")}) {
        RestrictToOwner(path);
        EXPECT_TRUE(IsOwnersAlone(path)) << path;
    }
    WriteFile(file, "new");
    WriteFile(folder.At("later"), "text");
    EXPECT_EQ(ReadFile(file) + ReadFile(folder.At("later")), "newtext");
    for (const String& path : {String(folder.At("missing")), String("a\0b", 3)}) {
        EXPECT_THROW(RestrictToOwner(path), IoException);
        EXPECT_THROW((void)IsOwnersAlone(path), IoException);
    }
}

TEST_F(TemporaryFiles, AreDeletedOnceAbandoned) {
    const String old = GetUniqueTemporaryFilename("%1.part");
    const String folder = GetUniqueTemporaryFilename("%1.part");
    Delete(folder);
    ASSERT_TRUE(CreateDirectoryRecursive(folder));
    const String others[] = {folder,
                             GetUniqueTemporaryFilename("%1"),
                             GetUniqueTemporaryFilename("x%1.part"),
                             GetUniqueTemporaryFilename("%1x.part"),
                             GetUniqueTemporaryFilename("%1_.part"),
                             GetUniqueTemporaryFilename("orvantis-model.part")};
    const auto date = std::filesystem::file_time_type::clock::now() - std::chrono::hours(49);
    std::error_code refused;  // folders keep theirs on some systems
    for (const auto& file : std::filesystem::directory_iterator(Support::ToPath(m_folder.At("")))) {
        std::filesystem::last_write_time(file, date, refused);
    }
    const String young = GetUniqueTemporaryFilename("%1.part");
    std::filesystem::last_write_time(Support::ToPath(young), date + std::chrono::hours(2));
    DeleteAbandonedFiles(m_folder.At(""));
    DeleteAbandonedFiles(m_folder.At("missing"));
    EXPECT_FALSE(Exists(old));
    EXPECT_TRUE(Exists(young));
    for (const String& path : others) {
        EXPECT_TRUE(Exists(path)) << path.c_str();
    }
}

TEST(FileSystem, LooksForAbandonedFilesAsDeepAsItIsTold) {
    const Support::TestFolder folder;
    const auto date = std::filesystem::file_time_type::clock::now() - std::chrono::hours(49);
    std::vector<String> files;
    for (const char* const name : {"tree/", "tree/a/", "tree/a/b/", "tree/a/b/c/"}) {
        CreateDirectoryRecursive(folder.At(name));
        files.push_back(folder.At(name) + "orvantis-abcdefghij234567.part");
        WriteFile(files.back(), "");
        std::filesystem::last_write_time(Support::ToPath(files.back()), date);
    }
    const auto getLeft = [&] {
        std::vector<bool> left;
        std::ranges::transform(files, std::back_inserter(left), Exists);
        return left;
    };
    DeleteAbandonedFiles(folder.At("tree"));
    EXPECT_EQ(getLeft(), std::vector({false, true, true, true}));
    DeleteAbandonedFiles(folder.At("tree"), 2);
    EXPECT_EQ(getLeft(), std::vector({false, false, false, true}));
}

}  // namespace
}  // namespace Kernel::FileSystem
