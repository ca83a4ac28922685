#include "Kernel/Semaphore.h"

#include "time/CurrentClock.h"

namespace Kernel {

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
    std::unique_lock lock(m_mutex);
    const auto isSignalled = [this] { return m_count > 0; };
    if (!GetClock().WaitFor(m_changed, lock, ToClockTime(timeout), isSignalled)) {
        return false;
    }
    --m_count;
    return true;
}

}  // namespace Kernel
