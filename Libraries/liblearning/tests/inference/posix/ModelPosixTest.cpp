// What tests of models need of POSIX systems: threads that the system tells apart by name, pipes,
// and devices with files' names.

#include "Kernel/Testing.h"
#include "Learning/Model.h"
#include "Learning/ThreadingPolicy.h"

#include "inference/ModelSession.h"
#include "support/TestFolder.h"
#include "tests/TestModels.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace Learning {
namespace {

TEST(Model, HasOnePolicyThoughOthersAreSetWhileItIsOpened) {
    const auto getThreads = [] { return Support::GetNames("/proc/self/task"); };
    const std::atomic<bool> always = true;
    std::atomic<bool> isDone = false;
    std::thread host([&] {
        for (int runs = 0; !isDone; runs = 1 - runs) {
            SetThreadingPolicy({.threads = 2 - runs, .concurrentRuns = runs});
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    });
    for (int i = 0; i < 20; ++i) {
        const auto before = getThreads();
        ModelSession session(TestModelPath("Add"), Model::CPUOnly, nullptr);
        const bool hasThreads = !std::ranges::includes(before, getThreads());
        const RunGate::Pass pass(session.GetGate(), nullptr);
        EXPECT_EQ(RunGate::Pass(session.GetGate(), &always).IsIn(), hasThreads) << i;
    }
    isDone = true;
    host.join();
    SetThreadingPolicy({});
}

TEST(Model, ReadsNeitherPipesNorDevices) {
    const Support::TestFolder folder;
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    for (const std::string& path : {folder.At("pipe"), std::string("/dev/zero")}) {
        const Kernel::Testing::Recorded<Kernel::Log> log;
        EXPECT_FALSE(Model({path}, Model::CPUOnly).IsValid());
        EXPECT_THAT(log.GetMessages(),
                    testing::ElementsAre(testing::HasSubstr("[ONNX Runtime] Error 3: ")));
    }
}

}  // namespace
}  // namespace Learning
