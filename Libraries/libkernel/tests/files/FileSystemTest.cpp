#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"

#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <limits>
#include <mutex>
#include <set>
#include <vector>

namespace Kernel::FileSystem {
namespace {

/// A folder that holds the temporary files of this process for as long as it lives.
class TemporaryFiles : public testing::Test {
protected:
    void SetUp() override { SetFolder(m_folder.At("")); }
    void TearDown() override { SetFolder("/tmp"); }

    static void SetFolder(const String& path) { ASSERT_EQ(setenv("TMPDIR", path.c_str(), 1), 0); }

    Support::TestFolder m_folder;
};

TEST(FileSystem, CreatesFoldersAndThoseAbove) {
    const Support::TestFolder folder;
    Support::RunOnThreads(4, [&](int /*thread*/) {
        EXPECT_TRUE(CreateDirectoryRecursive(folder.At("ä/\xFF/c/")));  // \xFF is no UTF-8
    });
    EXPECT_TRUE(Exists(folder.At("ä/\xFF/c")));
    EXPECT_TRUE(CreateDirectoryRecursive(folder.At("ä/\xFF/c")));

    WriteFile(folder.At("file"), "text");
    EXPECT_FALSE(CreateDirectoryRecursive(folder.At("file")));
    EXPECT_FALSE(CreateDirectoryRecursive(folder.At("file/below")));
    EXPECT_EQ(ReadFile(folder.At("file")), "text");
}

TEST(FileSystem, DeletesFilesAndEmptyFolders) {
    const Support::TestFolder folder;
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("full/empty")));
    WriteFile(folder.At("file"), "text");
    std::filesystem::create_directory_symlink("full/empty", (folder.At("link")).c_str());
    EXPECT_FALSE(Delete(folder.At("full")));
    for (const char* const kept : {"full", "file", "link"}) {
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

TEST(FileSystem, DeletesLinksNotTheirTargets) {
    const Support::TestFolder folder;
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("tree/sub")));
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("kept")));
    WriteFile(folder.At("kept/file"), "text");
    for (const char* const link : {"tree/sub/link", "first", "second"}) {
        std::filesystem::create_directory_symlink((folder.At("kept")).c_str(),
                                                  (folder.At(link)).c_str());
    }
    EXPECT_TRUE(DeleteAll(folder.At("tree")));
    EXPECT_TRUE(DeleteAll(folder.At("first")));
    EXPECT_TRUE(Delete(folder.At("second")));
    EXPECT_EQ(ReadFile(folder.At("kept/file")), "text");
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

TEST(FileSystem, TellsAFileFromWhatNeverEnds) {
    const Support::TestFolder folder;
    WriteFile(folder.At("file"), "text");
    std::filesystem::create_symlink("file", folder.At("link"));
    std::filesystem::create_symlink("/dev/zero", folder.At("endless"));
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    for (const char* const name : {"file", "link", "missing", "file/below"}) {
        EXPECT_NO_THROW(RefuseOtherThanFile(folder.At(name))) << name;
    }
    for (const char* const name : {"", "pipe", "endless"}) {
        EXPECT_THROW(RefuseOtherThanFile(folder.At(name)), IoException) << name;
    }
}

TEST(FileSystem, KnowsTheRoomThatADiskHas) {
    const std::uint64_t room = GetFreeSpace("/tmp");
    EXPECT_GT(room, 0U);
    EXPECT_LT(room, std::uint64_t{1} << 60);
    EXPECT_EQ(GetFreeSpace("/proc"), 0U);
    EXPECT_EQ(GetFreeSpace("/missing"), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(TemporaryFiles, AreNewAndPrivate) {
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
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U);
        EXPECT_EQ(status.st_size, 0);
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
    const String root = GetCanonicalPath(folder.At(""));
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("ä/b")));
    std::filesystem::create_directory_symlink("ä/b", (folder.At("link")).c_str());
    std::filesystem::create_symlink("loop", (folder.At("loop")).c_str());
    EXPECT_EQ(GetCanonicalPath(folder.At("./link/../x//y")), GetCanonicalPath(folder.At("ä/x/y")));
    EXPECT_EQ(std::string_view(GetCanonicalPath(folder.At("ä/x"))).find(root), 0U);
    EXPECT_EQ(GetCanonicalPath(".") + "/x", GetCanonicalPath("x"));
    EXPECT_THROW(GetCanonicalPath(folder.At("loop/x")), IoException);
    EXPECT_THROW(GetCanonicalPath(std::string_view("a\0b", 3)), IoException);
}

TEST_F(TemporaryFiles, AreDeletedOnceAbandoned) {
    const String old = GetUniqueTemporaryFilename("%1.part");
    const String folder = GetUniqueTemporaryFilename("%1.part");
    Delete(folder);
    std::filesystem::create_directory(folder.c_str());
    const String link = m_folder.At("orvantis-abcdefghij234567.part");
    std::filesystem::create_symlink("orvantis-model.part", link.c_str());
    const String others[] = {folder,
                             link,
                             GetUniqueTemporaryFilename("%1"),
                             GetUniqueTemporaryFilename("x%1.part"),
                             GetUniqueTemporaryFilename("%1x.part"),
                             GetUniqueTemporaryFilename("%1_.part"),
                             GetUniqueTemporaryFilename("orvantis-model.part")};
    const auto date = std::filesystem::file_time_type::clock::now() - std::chrono::hours(49);
    for (const auto& file : std::filesystem::directory_iterator((m_folder.At("")).c_str())) {
        std::filesystem::last_write_time(file, date);
    }
    const String young = GetUniqueTemporaryFilename("%1.part");
    std::filesystem::last_write_time(young.c_str(), date + std::chrono::hours(2));
    DeleteAbandonedFiles(m_folder.At(""));
    DeleteAbandonedFiles(m_folder.At("missing"));
    EXPECT_FALSE(Exists(old));
    EXPECT_TRUE(Exists(young));
    for (const String& path : others) {
        EXPECT_TRUE(Exists(path)) << path.c_str();
    }
}

TEST(FileSystem, LooksForAbandonedFilesAsDeepAsItIsToldAndBehindNoLink) {
    const Support::TestFolder folder;
    const auto date = std::filesystem::file_time_type::clock::now() - std::chrono::hours(49);
    std::vector<String> files;
    for (const char* const name : {"tree/", "tree/a/", "tree/a/b/", "tree/a/b/c/", "outside/"}) {
        CreateDirectoryRecursive(folder.At(name));
        files.push_back(folder.At(name) + "orvantis-abcdefghij234567.part");
        WriteFile(files.back(), "");
        std::filesystem::last_write_time(files.back().c_str(), date);
    }
    std::filesystem::create_directory_symlink("../outside", folder.At("tree/link").c_str());
    const auto getLeft = [&] {
        std::vector<bool> left;
        std::ranges::transform(files, std::back_inserter(left), Exists);
        return left;
    };
    DeleteAbandonedFiles(folder.At("tree"));
    EXPECT_EQ(getLeft(), std::vector({false, true, true, true, true}));
    DeleteAbandonedFiles(folder.At("tree"), 2);
    EXPECT_EQ(getLeft(), std::vector({false, false, false, true, true}));
}

TEST(FileSystem, KnowsTheUsersCacheFolder) {
    const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    setenv("HOME", "/home/user", 1);
    unsetenv("XDG_CACHE_HOME");
    EXPECT_EQ(GetUserCacheFolder(), "/home/user/.cache");
    for (const char* const ignored : {"", "relative", "~/cache"}) {
        setenv("XDG_CACHE_HOME", ignored, 1);
        EXPECT_EQ(GetUserCacheFolder(), "/home/user/.cache");
    }
    setenv("XDG_CACHE_HOME", "/cache", 1);
    EXPECT_EQ(GetUserCacheFolder(), "/cache");
    unsetenv("XDG_CACHE_HOME");
    setenv("HOME", "", 1);
    EXPECT_EQ(GetUserCacheFolder(), std::nullopt);
    setenv("HOME", home.c_str(), 1);
}

}  // namespace
}  // namespace Kernel::FileSystem
