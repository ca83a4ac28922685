#include "time/CurrentClock.h"

#include "Kernel/NeverDestroyed.h"

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
    void WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 std::chrono::nanoseconds timeout) override {
        condition.wait_for(lock, timeout);
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

Clock& ExchangeClock(Clock& clock) noexcept {
    return *CurrentClock().exchange(&clock, std::memory_order_acq_rel);
}

}  // namespace Kernel
