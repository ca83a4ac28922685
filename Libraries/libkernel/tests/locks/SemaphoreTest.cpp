#include "Kernel/Semaphore.h"
#include "Kernel/Testing.h"
#include "Kernel/Timer.h"

#include "support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace Kernel {
namespace {

using namespace std::chrono_literals;

TEST(Semaphore, WaitsNoLongerThanItsTimeout) {
    Testing::ManualClock clock;
    const Testing::ScopedClock scope(clock);
    const std::jthread passing([&clock](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            clock.Advance(1ms);
        }
    });
    Semaphore semaphore(1);
    const Timer timer;
    EXPECT_TRUE(semaphore.WaitFor(std::chrono::milliseconds::max()));
    EXPECT_FALSE(semaphore.WaitFor(0ms));
    EXPECT_FALSE(semaphore.WaitFor(std::chrono::milliseconds::min()));
    EXPECT_FALSE(semaphore.WaitFor(10s));
    EXPECT_GE(timer.GetElapsedMilliseconds(), 10'000);
}

TEST(Semaphore, LetsAsManyGoAsWereSignalled) {
    Semaphore semaphore;
    Support::RunOnThreads(8, [&semaphore](int thread) {
        for (int i = 0; i < 2000; ++i) {
            thread % 2 == 0 ? semaphore.Signal() : semaphore.Wait();
        }
    });
    EXPECT_FALSE(semaphore.WaitFor(0ms));
}

TEST(Semaphore, MayBeDestroyedByTheThreadItLetGo) {
    std::atomic<Semaphore*> next = nullptr;
    const std::jthread signalling([&next](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            if (Semaphore* const semaphore = next.exchange(nullptr)) {
                semaphore->Signal();
            }
        }
    });
    for (int i = 0; i < 5000; ++i) {
        const auto semaphore = std::make_unique<Semaphore>();
        next = semaphore.get();
        semaphore->Wait();
    }
}

}  // namespace
}  // namespace Kernel
