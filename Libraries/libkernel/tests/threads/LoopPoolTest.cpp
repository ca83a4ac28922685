#include "Kernel/Semaphore.h"

#include "tests/TestSupport.h"
#include "threads/LoopPool.h"

#include <gmock/gmock.h>
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

TEST(LoopPool, GivesItsThreadsToTheMostUrgentLoop) {
    LoopPool pool(1);
    Semaphore begun;
    Semaphore poolGate;
    Semaphore gate;
    std::vector<Priority> order;  // the pool's one thread writes it
    const auto waitAt = [&begun](Semaphore& where) {
        begun.Signal();
        where.Wait();
    };
    std::vector<std::jthread> callers;
    callers.emplace_back([&] {
        RunLoop(
            pool, [&](std::size_t) { waitAt(poolGate); }, 2, 1);
    });
    begun.Wait();
    begun.Wait();  // the pool's thread is busy from here on
    for (const Priority priority : {Priority::Idle, Priority::High, Priority::Low}) {
        callers.emplace_back([&, priority] {
            const Job job = [&, priority](std::size_t index) {
                if (index == 0) {
                    waitAt(gate);
                } else {
                    order.push_back(priority);
                    begun.Signal();
                }
            };
            RunLoop(pool, job, 2, 1, priority);
        });
        begun.Wait();
    }
    poolGate.Signal();
    poolGate.Signal();
    for (int i = 0; i < 3; ++i) {
        begun.Wait();
    }
    for (int i = 0; i < 3; ++i) {
        gate.Signal();
    }
    callers.clear();
    EXPECT_THAT(order, testing::ElementsAre(Priority::High, Priority::Low, Priority::Idle));
}

}  // namespace
}  // namespace Kernel
