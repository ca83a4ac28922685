#include "time/CurrentClock.h"

#include "Kernel/NeverDestroyed.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace Kernel {

namespace {

class SystemClock : public Clock {
public:
    std::chrono::nanoseconds GetNow() override {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
    void Sleep(std::chrono::nanoseconds duration) override {
        std::this_thread::sleep_for(duration);
    }
    bool WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 std::chrono::nanoseconds timeout, const std::function<bool()>& isDone) override {
        return condition.wait_for(lock, timeout, isDone);
    }
};

std::atomic<Clock*>& CurrentClock() noexcept {
    static NeverDestroyed<SystemClock> system;  // detached tasks may run during exit
    static std::atomic<Clock*> current{&*system};
    return current;
}

}  // namespace

Clock::~Clock() = default;

Clock& GetClock() noexcept {
    return *CurrentClock().load(std::memory_order_acquire);
}

std::chrono::nanoseconds ToClockTime(std::chrono::milliseconds duration) noexcept {
    constexpr std::chrono::milliseconds Longest = std::chrono::hours(24 * 365 * 100);
    return std::clamp(duration, std::chrono::milliseconds::zero(), Longest);
}

Clock& ExchangeClock(Clock& clock) noexcept {
    return *CurrentClock().exchange(&clock, std::memory_order_acq_rel);
}

}  // namespace Kernel
