#include "Kernel/Dispatch.h"
#include "Kernel/Semaphore.h"

#include "support/LeakCheck.h"
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
#include <csignal>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Kernel::Dispatch {
namespace {

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

}  // namespace
}  // namespace Kernel::Dispatch
