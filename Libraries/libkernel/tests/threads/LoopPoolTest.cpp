#include "Kernel/Semaphore.h"

#include "support/Threads.h"
#include "threads/LoopPool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

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
    Support::RunOnThreads(6, [&](int thread) {
        const auto priority = static_cast<Priority>(thread % 4);
        const Job inner = [&](std::size_t) { ++runs; };
        const Job middle = [&](std::size_t) { RunLoop(m_pool, inner, 5, 2, priority); };
        RunLoop(
            m_pool, [&](std::size_t) { RunLoop(m_pool, middle, 7, 1, priority); }, 20, 3, priority);
    });
    EXPECT_EQ(runs, 6 * 20 * 7 * 5);
}

TEST_P(LoopPoolOf, ThrowsAFailureAndLeavesOutTheRest) {
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

TEST(LoopPool, ThrowsTheFailureThatCameFirst) {
    LoopPool pool(1);
    const auto self = std::this_thread::get_id();
    Semaphore poolBegan;
    Semaphore poolReturned;  // and has left its failure with the loop
    const Job inner = [&](std::size_t) {
        std::this_thread::get_id() == self ? poolReturned.Wait() : poolReturned.Signal();
    };
    const Job outer = [&](std::size_t) {
        if (std::this_thread::get_id() != self) {
            poolBegan.Signal();
            throw std::runtime_error("first");
        }
        poolBegan.Wait();
        RunLoop(pool, inner, 2, 1);
        throw std::runtime_error("second");
    };
    EXPECT_THAT([&] { RunLoop(pool, outer, 2, 1); },
                testing::ThrowsMessage<std::runtime_error>("first"));
}

/// Which loop a pool's thread works for when it is done with a job of the older one.
std::string FindNextLoop(Priority older, Priority newer) {
    LoopPool pool(1);
    std::atomic<int> turns = 0;  // of the pool's thread
    std::atomic<const char*> next = "none";
    Semaphore begun;
    Semaphore callerMayGoOn;
    Semaphore poolMayGoOn;
    Semaphore poolWentOn;
    const auto takeTurn = [&](const char* name) {
        if (turns++ == 1) {
            next = name;
            poolWentOn.Signal();
        }
    };
    const std::jthread caller([&] {
        const auto self = std::this_thread::get_id();
        const Job job = [&](std::size_t) {
            const bool isOwn = std::this_thread::get_id() == self;
            if (!isOwn) {
                takeTurn("older");
            }
            begun.Signal();
            (isOwn ? callerMayGoOn : poolMayGoOn).Wait();
        };
        RunLoop(pool, job, 3, 1, older);
    });
    begun.Wait();
    begun.Wait();  // one job on the caller, one on the pool's thread

    const auto self = std::this_thread::get_id();
    const Job job = [&](std::size_t) {
        if (std::this_thread::get_id() != self) {
            return takeTurn("newer");
        }
        poolMayGoOn.Signal();
        EXPECT_TRUE(poolWentOn.WaitFor(std::chrono::seconds(10)));
        poolWentOn.Signal();
    };
    RunLoop(pool, job, 2, 1, newer);
    for (int i = 0; i < 2; ++i) {
        callerMayGoOn.Signal();
        poolMayGoOn.Signal();
    }
    return next.load();
}

TEST(LoopPool, GivesItsThreadsToTheMostUrgentLoopOrTheOldestAtTheNextTurn) {
    EXPECT_EQ(FindNextLoop(Priority::Low, Priority::High), "newer");
    EXPECT_EQ(FindNextLoop(Priority::Normal, Priority::Normal), "older");
    EXPECT_EQ(FindNextLoop(Priority::Normal, Priority::Idle), "older");
}

INSTANTIATE_TEST_SUITE_P(ThreadCounts, LoopPoolOf, testing::Values(0, 1, 5));

}  // namespace
}  // namespace Kernel
