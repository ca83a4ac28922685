#include "Kernel/Dispatch.h"
#include "Kernel/Semaphore.h"
#include "Kernel/Testing.h"
#include "Kernel/Timer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace Kernel::Testing {
namespace {

using namespace std::chrono_literals;

TEST(ManualClock, WakesSleepersWhenTheirTimeComes) {
    ManualClock clock;
    const ScopedClock scope(clock);
    std::atomic<int> awake = 0;
    const auto sleep = [&awake](std::chrono::milliseconds duration) {
        Dispatch::Sleep(duration);
        ++awake;
    };
    std::jthread first(sleep, 10ms);
    std::jthread second(sleep, 20ms);
    clock.WaitForSleepers(2);
    EXPECT_EQ(awake, 0);
    clock.Advance(10ms);
    first.join();
    EXPECT_EQ(awake, 1);
    clock.WaitForSleepers(1);
    clock.Advance(10ms);
    second.join();
    EXPECT_EQ(awake, 2);
}

TEST(ManualClock, EndsTimedWaitsWhenTheirTimeComesOrWhatTheyWaitFor) {
    ManualClock clock;
    const ScopedClock scope(clock);
    Semaphore never;
    Semaphore signalled;
    std::jthread first([&] { EXPECT_FALSE(never.WaitFor(10s)); });
    std::jthread second([&] { EXPECT_TRUE(signalled.WaitFor(10s)); });
    clock.WaitForSleepers(2);
    signalled.Signal();
    second.join();
    clock.Advance(10s - 1ms);
    clock.WaitForSleepers(1);
    clock.Advance(1ms);
    first.join();
}

TEST(ScaledClock, PassesFasterAndNotesSleepsAndTimedWaits) {
    ScaledClock clock(1000);
    const ScopedClock scope(clock);
    const auto start = std::chrono::steady_clock::now();
    const Timer timer;
    Dispatch::Sleep(10s);
    EXPECT_FALSE(Semaphore().WaitFor(10s));
    EXPECT_TRUE(Semaphore(1).WaitFor(10s));
    EXPECT_FALSE(Semaphore().WaitFor(0s));
    EXPECT_GE(timer.GetElapsedMilliseconds(), 20'000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    std::thread::id other;
    std::jthread([&] {
        other = std::this_thread::get_id();
        Dispatch::Sleep(1ms);
    }).join();
    const auto self = std::this_thread::get_id();
    EXPECT_THAT(clock.GetNotes(),
                ::testing::ElementsAre(ClockNote{ClockNote::Kind::Sleep, self, 10s},
                                       ClockNote{ClockNote::Kind::Wait, self, 10s},
                                       ClockNote{ClockNote::Kind::Sleep, other, 1ms}));
}

}  // namespace
}  // namespace Kernel::Testing
