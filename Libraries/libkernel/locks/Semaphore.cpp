#include "Kernel/Semaphore.h"

#include "time/CurrentClock.h"

#include <algorithm>

namespace Kernel {

namespace {

// Limits within which sums of times do not overflow.
constexpr std::chrono::milliseconds Shortest{0};
constexpr std::chrono::milliseconds Longest = std::chrono::hours(24 * 365 * 100);

}  // namespace

void Semaphore::Signal() {
    // Notified under the lock: a waiter may destroy this object as soon as it holds the lock.
    const std::lock_guard lock(m_mutex);
    ++m_count;
    m_changed.notify_one();
}

void Semaphore::Wait() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_count > 0; });
    --m_count;
}

bool Semaphore::WaitFor(std::chrono::milliseconds timeout) {
    Clock& clock = GetClock();
    const std::chrono::nanoseconds end = clock.GetNow() + std::clamp(timeout, Shortest, Longest);
    std::unique_lock lock(m_mutex);
    while (m_count == 0) {
        const std::chrono::nanoseconds left = end - clock.GetNow();
        if (left <= std::chrono::nanoseconds::zero()) {
            return false;
        }
        clock.WaitFor(m_changed, lock, left);
    }
    --m_count;
    return true;
}

}  // namespace Kernel
