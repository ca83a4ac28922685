#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"
#include "tests/files/TemporaryFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace Kernel::FileSystem {
namespace {

TEST(FileSystem, TakesNamesThatAreNoText) {
    const Support::TestFolder folder;
    EXPECT_TRUE(CreateDirectoryRecursive(folder.At("ä/\xFF/c/")));
    EXPECT_TRUE(Exists(folder.At("ä/\xFF/c")));
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
    EXPECT_FALSE(DeleteEmptyFolder(folder.At("second")));
    EXPECT_TRUE(DeleteAll(folder.At("tree")));
    EXPECT_TRUE(DeleteAll(folder.At("first")));
    EXPECT_TRUE(Delete(folder.At("second")));
    EXPECT_EQ(ReadFile(folder.At("kept/file")), "text");
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

TEST(FileSystem, KnowsThatASystemOfNoDiskHasNoRoom) {
    EXPECT_EQ(GetFreeBytes("/proc"), 0U);
}

TEST_F(TemporaryFiles, ArePrivate) {
    struct stat status {};
    ASSERT_EQ(stat(GetUniqueTemporaryFilename("%1.ä").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(FileSystem, KnowsOnePathForEachPlaceBehindLinks) {
    const Support::TestFolder folder;
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("ä/b")));
    std::filesystem::create_directory_symlink("ä/b", folder.At("link"));
    std::filesystem::create_symlink("loop", folder.At("loop"));
    EXPECT_EQ(GetCanonicalPath(folder.At("./link/../x//y")), GetCanonicalPath(folder.At("ä/x/y")));
    EXPECT_THROW(GetCanonicalPath(folder.At("loop/x")), IoException);
}

TEST(FileSystem, LooksForAbandonedFilesBehindNoLink) {
    const Support::TestFolder folder;
    const auto date = std::filesystem::file_time_type::clock::now() - std::chrono::hours(49);
    const std::string outside = folder.At("outside/orvantis-abcdefghij234567.part");
    const std::string link = folder.At("tree/orvantis-abcdefghij234567.part");
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("tree")));
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At("outside")));
    WriteFile(outside, "");
    std::filesystem::last_write_time(outside, date);
    std::filesystem::create_directory_symlink("../outside", folder.At("tree/link"));
    std::filesystem::create_symlink(outside, link);  // as old as what it leads to
    DeleteAbandonedFiles(folder.At("tree"), 2);
    EXPECT_TRUE(Exists(outside));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST(FileSystem, KnowsTheUsersFolders) {
    const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    const struct {
        const char* variable;
        std::optional<String> (*get)();
        const char* otherwise;
    } cases[] = {{"XDG_CACHE_HOME", GetUserCacheFolder, "/home/user/.cache"},
                 {"XDG_STATE_HOME", GetUserStateFolder, "/home/user/.local/state"}};
    for (const auto& [variable, get, otherwise] : cases) {
        setenv("HOME", "/home/user", 1);
        unsetenv(variable);
        EXPECT_EQ(get(), otherwise);
        for (const char* const ignored : {"", "relative", "~/cache"}) {
            setenv(variable, ignored, 1);
            EXPECT_EQ(get(), otherwise);
        }
        setenv(variable, "/named", 1);
        EXPECT_EQ(get(), "/named");
        unsetenv(variable);
        setenv("HOME", "", 1);
        EXPECT_EQ(get(), std::nullopt);
    }
    setenv("HOME", home.c_str(), 1);
}

TEST(FileSystem, TellsWhatOthersMayUseByItsMode) {
    const Support::TestFolder folder;
    const std::string path = folder.Write("file", "");
    for (const mode_t mode : {0400U, 0600U, 0700U, 0U}) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        EXPECT_TRUE(IsOwnersAlone(path)) << mode;
    }
    for (const mode_t mode : {0640U, 0620U, 0610U, 0604U, 0602U, 0601U}) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        EXPECT_FALSE(IsOwnersAlone(path)) << mode;
    }
    struct stat status {};
    RestrictToOwner(path);
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    RestrictToOwner(folder.At(""));
    ASSERT_EQ(stat(folder.At("").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

}  // namespace
}  // namespace Kernel::FileSystem
