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

TEST(ScaledClock, PassesFasterAndNotesSleeps) {
    ScaledClock clock(1000);
    const ScopedClock scope(clock);
    const auto start = std::chrono::steady_clock::now();
    const Timer timer;
    Dispatch::Sleep(10s);
    EXPECT_FALSE(Semaphore().WaitFor(10s));
    EXPECT_GE(timer.GetElapsedMilliseconds(), 20'000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_THAT(clock.GetSleeps(), ::testing::ElementsAre(10s));
}

}  // namespace
}  // namespace Kernel::Testing
