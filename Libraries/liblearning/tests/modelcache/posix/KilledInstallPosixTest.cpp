// Installations in processes that are killed: copies of the test's own, which Windows can't make.

#include "Kernel/Timer.h"

#include "modelcache/PackageInstaller.h"
#include "tests/modelcache/DownloadTesting.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

namespace Learning {
namespace {

/// Kills a process after `delay` in which it installs `packages` in turn.
void InstallUntilKilled(const std::array<std::string, 2>& packages, const std::string& folder,
                        std::chrono::microseconds delay) {
    const pid_t process = fork();
    for (std::size_t i = 1; process == 0; ++i) {
        InstallPackage(packages[i % packages.size()], folder);
    }
    std::this_thread::sleep_for(delay);
    kill(process, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    ASSERT_EQ(WTERMSIG(status), SIGKILL);  // not one of its own
}

TEST_F(DownloadTest, LeavesWholeFilesWhereverItIsKilled) {
    const std::string folder = Support::FromPath(m_models) + "/";
    const std::array<const char*, 2> names{"a.onnx", "b.onnx"};
    const std::array<std::string, 2> contents{std::string(400'000, '1'), std::string(700'000, '2')};
    const std::array<std::string, 2> packages{m_root / "old.zip", m_root / "new.zip"};
    for (std::size_t i = 0; i < packages.size(); ++i) {
        WriteFile(packages[i], MakeZip({{names[0], contents[i]}, {names[1], contents[i]}}));
    }
    const Kernel::Timer timer;
    InstallPackage(packages[0], folder);
    // On a busy machine a process takes long to begin.
    const auto longest = std::chrono::microseconds(
        20'000 + static_cast<std::int64_t>(4'000 * timer.GetElapsedMilliseconds()));
    std::mt19937 random(std::random_device{}());
    const int rounds = IsSoak() ? 200 : 25;
    int cuts = 0;
    for (int round = 0; round < rounds || (cuts == 0 && round < 10 * rounds); ++round) {
        ASSERT_NO_FATAL_FAILURE(
            InstallUntilKilled(packages, folder, std::chrono::microseconds(random()) % longest));
        for (const char* name : names) {
            ASSERT_THAT(contents, testing::Contains(ReadFile(m_models / name))) << name;
        }
        InstallPackage(packages[0], folder);
        for (const auto& [name, data] : DescribeTree(m_models)) {
            if (name.ends_with(".part")) {
                ++cuts;
                std::filesystem::remove(m_models / name);
            } else {
                ASSERT_EQ(data, contents[0]) << name;
            }
        }
    }
    RecordProperty("filesCut", cuts);
    EXPECT_GT(cuts, 0);  // else it was killed at harmless moments only
}

}  // namespace
}  // namespace Learning
