#include "tests/TestSupport.h"
#include "threads/LoopPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>

namespace Kernel {
namespace {

using Dispatch::Priority;
using Dispatch::ThreadPurpose;
using Job = std::function<void(std::size_t)>;

void RunLoop(LoopPool& pool, const Job& job, std::size_t count, std::size_t grain,
             Priority priority = Priority::Normal) {
    const auto runOne = [](void* context, std::size_t index) {
        (*static_cast<const Job*>(context))(index);
    };
    Loop loop{runOne, const_cast<Job*>(&job), count, grain, priority, ThreadPurpose::General};
    pool.Run(loop);
}

class LoopPoolOf : public testing::TestWithParam<std::size_t> {
protected:
    LoopPool m_pool{GetParam()};
};

TEST_P(LoopPoolOf, RunsLoopsWithinJobsAndFromManyThreads) {
    std::atomic<int> runs = 0;
    RunOnThreads(6, [&](int thread) {
        const auto priority = static_cast<Priority>(thread % 4);
        const Job inner = [&](std::size_t) { ++runs; };
        const Job middle = [&](std::size_t) { RunLoop(m_pool, inner, 5, 2, priority); };
        RunLoop(
            m_pool, [&](std::size_t) { RunLoop(m_pool, middle, 7, 1, priority); }, 20, 3, priority);
    });
    EXPECT_EQ(runs, 6 * 20 * 7 * 5);
}

TEST_P(LoopPoolOf, ThrowsTheFirstFailureAndLeavesOutTheRest) {
    std::atomic<int> runs = 0;
    const Job fail = [&runs](std::size_t index) {
        ++runs;
        throw std::runtime_error("job " + std::to_string(index));
    };
    for (int round = 0; round < 100; ++round) {
        EXPECT_THROW(RunLoop(m_pool, fail, 1000, 1), std::runtime_error);
    }
    EXPECT_LE(runs, 100 * static_cast<int>(m_pool.GetThreadCount() + 1));
}

INSTANTIATE_TEST_SUITE_P(ThreadCounts, LoopPoolOf, testing::Values(0, 1, 5));

}  // namespace
}  // namespace Kernel
