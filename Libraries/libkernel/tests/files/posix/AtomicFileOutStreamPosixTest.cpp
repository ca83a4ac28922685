#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

#include "support/LeakCheck.h"
#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <vector>

namespace Kernel {
namespace {

auto CountFiles(const Support::TestFolder& folder) {
    return std::ssize(Support::GetNames(folder.At("")));
}

TEST(AtomicFileOutStream, TakesNoNameOfADanglingLink) {
    const Support::TestFolder folder;
    std::filesystem::create_symlink("nowhere", folder.At("link"));
    const auto stream = AtomicFileOutStream::Create(folder.At("file"));
    EXPECT_FALSE(stream->CommitNew(folder.At("link")));
    EXPECT_FALSE(FileSystem::Exists(folder.At("nowhere")));
}

TEST(AtomicFileOutStream, LeavesTheOldFileToThoseWhoReadIt) {
    const Support::TestFolder folder;
    const std::string path = folder.Write("file", "old");
    const auto reader = FileInStream::Open(path);
    AtomicFileOutStream::Create(path)->Commit();
    EXPECT_EQ(ReadAll(*reader), "old");
    EXPECT_EQ(ReadFile(path), "");
}

TEST(AtomicFileOutStream, HasNoNameUntilItIsWhole) {
    const Support::TestFolder folder;
    const auto stream = AtomicFileOutStream::Create(folder.At("file"));
    Write(*stream, "new");
    EXPECT_EQ(CountFiles(folder), 0);
    stream->Commit();
    EXPECT_EQ(ReadFile(folder.At("file")), "new");
    struct stat status {};
    const mode_t mask = umask(0);
    umask(mask);
    ASSERT_EQ(stat(folder.At("file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
}

TEST(AtomicFileOutStream, SucceedsAFileWithItsOwnerAndPermissionsThroughLinks) {
    const Support::TestFolder folder;
    const std::string path = folder.At("file");
    std::filesystem::create_symlink("file", folder.At("link"));
    std::filesystem::create_symlink("link", folder.At("second"));
    std::filesystem::create_symlink(folder.At("new"), folder.At("dangling"));
    std::filesystem::create_symlink("loop", folder.At("loop"));
    WriteFile(path, "old");
    ASSERT_EQ(chmod(path.c_str(), 0620), 0);
    const bool isSuperuser = geteuid() == 0;  // who alone may give files away
    ASSERT_TRUE(!isSuperuser || chown(path.c_str(), 12, 34) == 0);
    const auto replace = [&](const char* name, const char* text) {
        const auto stream = AtomicFileOutStream::CreateSuccessor(folder.At(name));
        Write(*stream, text);
        stream->Commit();
    };
    for (const char* const name : {"file", "second"}) {
        replace(name, name);
        EXPECT_EQ(ReadFile(path), name);
        struct stat status {};
        ASSERT_EQ(lstat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFREG | 0620U);
        EXPECT_EQ(status.st_uid, isSuperuser ? 12 : geteuid());
        EXPECT_TRUE(!isSuperuser || status.st_gid == 34);
    }
    replace("dangling", "made");
    EXPECT_EQ(ReadFile(folder.At("new")), "made");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.At("dangling")));
    EXPECT_THROW(replace("loop", ""), IoException);
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    EXPECT_THROW(replace("pipe", ""), IoException);

    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    EXPECT_THROW(replace("link", "other"), IoException);
    EXPECT_EQ(ReadFile(path), "second");
    EXPECT_EQ(CountFiles(folder), 7);
}

/// An access control list as Linux keeps it: {tag, rights, id} for the owner, a user, the group,
/// the mask and others.
std::vector<std::uint16_t> MakeAccessList(std::uint16_t user) {
    constexpr std::uint16_t None = 0xFFFF;
    return {2, 0,    1,    6,  None, None, 2,    6,  user, 0,    4,
            0, None, None, 16, 6,    None, None, 32, 0,    None, None};
}

bool SetList(const std::string& path, const char* name, const std::vector<std::uint16_t>& list) {
    return setxattr(path.c_str(), name, list.data(), list.size() * sizeof list[0], 0) == 0;
}

TEST(AtomicFileOutStream, SucceedsAFileWithItsAccessListAndNoOther) {
    constexpr const char* Own = "system.posix_acl_access";
    const Support::TestFolder folder;
    const std::string listed = folder.Write("listed", "");
    const std::string bare = folder.Write("bare", "");
    ASSERT_EQ(chmod(bare.c_str(), 0604), 0);
    if (!SetList(listed, Own, MakeAccessList(12)) ||
        !SetList(folder.At(""), "system.posix_acl_default", MakeAccessList(34))) {
        GTEST_SKIP() << "the file system has no access control lists";
    }
    for (const std::string& path : {listed, bare}) {
        AtomicFileOutStream::CreateSuccessor(path)->Commit();
    }
    std::vector<std::uint16_t> list(100);
    const auto size = getxattr(listed.c_str(), Own, list.data(), list.size() * sizeof list[0]);
    list.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)) / sizeof list[0]);
    EXPECT_EQ(list, MakeAccessList(12));  // without it the group would have the rights of the mask
    struct stat status {};
    ASSERT_EQ(stat(bare.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0604U);
    EXPECT_EQ(getxattr(bare.c_str(), Own, nullptr, 0), -1);
}

TEST(AtomicFileOutStream, HoldsNoDescriptorWhileItWaitsToBeCommitted) {
    const Support::TestFolder folder;
    std::vector<Counted<AtomicFileOutStream>> streams;
    {
        const Support::LeakCheck descriptors;
        for (const char* const name : {"a", "b", "c"}) {
            streams.push_back(AtomicFileOutStream::Create(folder.At(name)));
            Write(*streams.back(), name);
            streams.back()->Close();
        }
    }
    streams[1]->Commit();
    streams.clear();
    EXPECT_EQ(ReadFile(folder.At("b")), "b");
    EXPECT_EQ(CountFiles(folder), 1);
}

}  // namespace
}  // namespace Kernel
