#include "Kernel/Dispatch.h"
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

TEST(ScaledClock, NotesSleepsAndHurriesThem) {
    const auto start = std::chrono::steady_clock::now();
    ScaledClock clock(10'000);
    const ScopedClock scope(clock);
    const Timer timer;
    Dispatch::Sleep(20s);
    Dispatch::Sleep(40s);
    EXPECT_THAT(clock.GetSleeps(), testing::ElementsAre(20s, 40s));
    EXPECT_GE(timer.GetElapsedMilliseconds(), 60'000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST(ManualClock, WakesSleepersWhenTheirTimeHasCome) {
    ManualClock clock;
    const ScopedClock scope(clock);
    std::atomic<int> wakes = 0;
    std::jthread sleeper([&wakes] {
        for (int i = 0; i < 500; ++i) {
            Dispatch::Sleep(10ms);
            ++wakes;
        }
    });
    for (int i = 0; i < 500; ++i) {
        clock.WaitForSleepers(1);
        EXPECT_EQ(wakes, i);
        clock.Advance(9ms);
        clock.WaitForSleepers(1);
        clock.Advance(1ms);
    }
    sleeper.join();
}

}  // namespace
}  // namespace Kernel::Testing
