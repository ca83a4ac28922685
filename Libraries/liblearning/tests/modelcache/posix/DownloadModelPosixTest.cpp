// What tests of downloads need of POSIX systems: links, files that are replaced while they are
// read, a folder on a device that is always full, and shares of disks.

#include "Kernel/IoException.h"

#include "modelcache/ModelOutcomes.h"
#include "tests/modelcache/DownloadTesting.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace Learning {
namespace {

using Server::Reply;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(DownloadTest, KeepsTheFileThatSomebodyReads) {
    ASSERT_TRUE(DownloadPackage(MakePackage("Add")));
    std::ifstream open(m_model, std::ios::binary);
    ASSERT_TRUE(DownloadPackage(MakePackage("First")));
    const std::string old{std::istreambuf_iterator<char>(open), {}};
    EXPECT_EQ(old, ReadFile(TestModelPath("Add").c_str()));
    EXPECT_EQ(ReadFile(m_model), ReadFile(TestModelPath("First").c_str()));
}

TEST_F(DownloadTest, FollowsNoLinkOutOfTheCurrentFolder) {
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(m_models);
    std::filesystem::create_symlink("..", m_models / "out");
    const TestServer server(Reply(200, {}, MakeZip({{"out/bad", "bad"}})));
    ModelCache cache;
    cache.SetModelURLRoot(server.GetAddress());
    cache.DownloadModel(Type, {});
    EXPECT_FALSE(std::filesystem::exists(m_root / "bad"));
    std::filesystem::current_path(previous);
}

TEST_F(DownloadTest, RefusesAPackageThatTheDiskHasNoRoomFor) {
    m_cache.SetModelCacheFolder("/proc");
    EXPECT_FALSE(DownloadPackage(MakePackage()));
    EXPECT_THAT(m_log.GetMessages(), ElementsAre(HasSubstr("No space left")));
    EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::NoSpace);
}

TEST(ModelOutcomes, TellThatTheUsersShareOfADiskIsFull) {
    const Kernel::IoException failure("write", "file", {EDQUOT, std::generic_category()});
    EXPECT_EQ(MakeInstallOutcome(failure).status, ModelStatus::NoSpace);
}

}  // namespace
}  // namespace Learning
