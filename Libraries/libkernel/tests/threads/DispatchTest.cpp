#include "Kernel/Dispatch.h"
#include "Kernel/Semaphore.h"
#include "Kernel/Testing.h"
#include "Kernel/Timer.h"

#include "support/Threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
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
    auto meeting = std::make_shared<Support::Barrier>(count);
    auto met = std::make_shared<Semaphore>();
    for (int i = 0; i < count; ++i) {
        DispatchAndForget(
            [=] {
                meeting->ArriveAndWait();
                met->Signal();
            },
            static_cast<Priority>(i % 4), ThreadPurpose::Background);
    }
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(met->WaitFor(30s));
    }
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
