#include "Kernel/Dispatch.h"
#include "Kernel/Semaphore.h"
#include "Kernel/Testing.h"
#include "Kernel/Timer.h"

#include "support/linux/LeakCheck.h"
#include "threads/CurrentThread.h"
#include "threads/ThreadStart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Kernel::Dispatch {
namespace {

using namespace std::chrono_literals;

TEST(DispatchParallelFor, GivesEachRecordToTheJobOnce) {
    for (const std::size_t count : {0, 1, 2, 3, 6, 100, 1001}) {
        for (const int grain : {-1, 0, 1, 7, std::numeric_limits<int>::max()}) {
            std::vector<int> records(count);
            DispatchParallelFor([](int& record) { ++record; }, count, records.data(),
                                Priority::High, ThreadPurpose::Pixels, grain);
            EXPECT_EQ(records, std::vector<int>(count, 1)) << count << " by " << grain;
        }
    }
}

TEST(DispatchAndForget, RunsTasksThatWaitForEachOther) {
    const int count = 4 * static_cast<int>(std::thread::hardware_concurrency()) + 3;
    auto meeting = std::make_shared<std::barrier<>>(count);
    auto met = std::make_shared<Semaphore>();
    for (int i = 0; i < count; ++i) {
        DispatchAndForget(
            [=] {
                meeting->arrive_and_wait();
                met->Signal();
            },
            static_cast<Priority>(i % 4), ThreadPurpose::Background);
    }
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(met->WaitFor(30s));
    }
}

TEST(DispatchAndForget, TellsTheSystemWhatAThreadIsForAndHowUrgent) {
    const struct {
        Priority priority;
        ThreadPurpose purpose;
        int niceness;
        std::string name;
    } cases[] = {
        {Priority::Idle, ThreadPurpose::Background, 19, "background"},
        {Priority::Low, ThreadPurpose::Pixels, 5, "pixels"},
        {Priority::Normal, ThreadPurpose::General, 0, "worker"},
        {Priority::High, ThreadPurpose::General, 0, "worker"},
    };
    const int own = getpriority(PRIO_PROCESS, 0);
    if (own > 5) {
        GTEST_SKIP() << "this process has a low priority itself";
    }
    for (const auto& [priority, purpose, niceness, name] : cases) {
        const auto seen = std::make_shared<std::promise<std::pair<int, std::string>>>();
        const auto look = [seen] {
            std::string text(16, '\0');
            pthread_getname_np(pthread_self(), text.data(), text.size());
            seen->set_value({getpriority(PRIO_PROCESS, 0), text.c_str()});
        };
        DispatchAndForget(look, priority, purpose);
        EXPECT_EQ(seen->get_future().get(), std::pair(std::max(own, niceness), name));
    }
}

TEST(DispatchAndForget, IsAsUrgentAsItIsToldOnAnIdleThreadToo) {
    const auto seen = std::make_shared<std::promise<std::vector<int>>>();
    const auto look = [](Priority priority) {
        const auto niceness = std::make_shared<std::promise<int>>();
        DispatchAndForget([niceness] { niceness->set_value(getpriority(PRIO_PROCESS, 0)); },
                          priority, ThreadPurpose::General);
        return niceness->get_future().get();
    };
    DispatchAndForget(
        [=] {
            seen->set_value({look(Priority::Normal), look(Priority::Low), look(Priority::High)});
        },
        Priority::Idle, ThreadPurpose::Background);
    const int own = getpriority(PRIO_PROCESS, 0);
    EXPECT_THAT(seen->get_future().get(), testing::ElementsAre(own, std::max(own, 5), own));
}

/// The signals that may be delivered to the calling thread.
std::set<int> GetOpenSignals() {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    std::set<int> open;
    for (int signal = 1; signal < 32; ++signal) {
        if (sigismember(&blocked, signal) == 0) {
            open.insert(signal);
        }
    }
    return open;
}

TEST(Dispatch, LeavesSignalsToTheThreadsOfTheHost) {
    const auto before = GetOpenSignals();
    std::array<std::promise<std::set<int>>, 3> seen;
    const auto look = [&seen](int thread) {
        return [&seen, thread] { seen.at(thread).set_value(GetOpenSignals()); };
    };
    std::vector<std::thread> threads;
    threads.push_back(StartThread(ThreadPurpose::General, Priority::Idle, [&] {
        look(0)();
        StartThread(ThreadPurpose::General, Priority::Normal, look(1)).join();
    }));
    threads.push_back(StartThread(ThreadPurpose::General, Priority::High, look(2)));
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (auto& signals : seen) {
        EXPECT_THAT(signals.get_future().get(),
                    testing::UnorderedElementsAre(SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV,
                                                  SIGSYS, SIGKILL, SIGSTOP));
    }
    EXPECT_EQ(GetOpenSignals(), before);
}

TEST(CurrentThread, CountsTheProcessorsThatItMayUse) {
    std::thread([] {
        cpu_set_t own{};
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &own);
        ASSERT_EQ(sched_setaffinity(0, sizeof(own), &own), 0);
        EXPECT_EQ(CountProcessors(), 1U);
    }).join();
}

TEST(DispatchSleep, TakesTheLongestAndTheShortestDuration) {
    Testing::ManualClock clock;
    const Testing::ScopedClock scope(clock);
    std::atomic<bool> isAwake = false;
    std::jthread sleeper([&] {
        Sleep(std::chrono::milliseconds::min());
        Sleep(std::chrono::milliseconds::max());
        isAwake = true;
    });
    clock.WaitForSleepers(1);
    clock.Advance(99 * 365 * 24h);
    EXPECT_FALSE(isAwake);
    clock.Advance(365 * 24h);
    sleeper.join();
}

// Ends while threads of their own run loops and start tasks, and again when nothing is left.
TEST(Dispatch, KeepsNoThreadThatTheHostHasEnded) {
    const auto work = [] {
        std::vector<int> records(50);
        std::atomic<int> count = 0;
        DispatchParallelFor([&](int) { ++count; }, records.size(), records.data(), Priority::Normal,
                            ThreadPurpose::General, 1);
        Semaphore ended;
        DispatchJoinable(
            [&] {
                DispatchAndForget([&] { ended.Signal(); }, Priority::Low, ThreadPurpose::General);
            },
            Priority::Idle, ThreadPurpose::Background)
            .join();
        ended.Wait();
        return count.load();
    };
    EndIdleThreads();
    const Support::LeakCheck leakCheck;
    for (int round = 0; round < 20; ++round) {
        std::thread other([&] { EXPECT_EQ(work(), 50); });
        EndIdleThreads();
        EXPECT_EQ(work(), 50);
        other.join();
        EndIdleThreads();
    }
}

TEST(DispatchAndForget, LogsWhatATaskThrows) {
    const Testing::Recorded<Log> log;
    DispatchAndForget([] { throw std::runtime_error("no %1"); }, Priority::Low,
                      ThreadPurpose::General);
    DispatchAndForget([] { throw 1; }, Priority::Normal, ThreadPurpose::General);
    for (const Timer timer;
         log.GetMessages().size() < 2 && timer.GetElapsedMilliseconds() < 30e3;) {
        Sleep(1ms);
    }
    EXPECT_THAT(log.GetMessages(),
                testing::UnorderedElementsAre("A background task failed: no %1\n",
                                              "A background task failed.\n"));
}

/// Exits while a task goes on working, and for some time after all that the task uses is destroyed,
/// if it is.
[[noreturn]] void ExitDuringATask() {
    struct SlowEnd {
        ~SlowEnd() { std::this_thread::sleep_for(50ms); }
    };
    static const SlowEnd older;  // than the library's own objects, so destroyed after them
    static auto& begun = *std::make_unique<Semaphore>().release();  // the task outlives statics
    const auto work = [] {
        int records[4] = {};
        for (;;) {
            DispatchParallelFor([](int&) { Sleep(1ms); }, 4, records, Priority::Normal,
                                ThreadPurpose::General, 1);
            begun.Signal();
        }
    };
    DispatchAndForget(work, Priority::Normal, ThreadPurpose::Background);
    begun.Wait();
    std::exit(0);
}

TEST(DispatchDeathTest, ProcessMayExitDuringATask) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(ExitDuringATask(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Kernel::Dispatch
