#include "Kernel/Testing.h"

#include "time/CurrentClock.h"

#include <iterator>
#include <thread>

namespace Kernel::Testing {

namespace {

std::chrono::nanoseconds Scale(std::chrono::nanoseconds duration, double factor) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(duration * factor);
}

}  // namespace

ScopedClock::ScopedClock(Clock& clock) : m_previous(ExchangeClock(clock)) {}

ScopedClock::~ScopedClock() {
    ExchangeClock(m_previous);
}

ScaledClock::ScaledClock(double factor)
    : m_factor(factor), m_start(std::chrono::steady_clock::now()) {}

std::chrono::nanoseconds ScaledClock::GetNow() {
    return Scale(std::chrono::steady_clock::now() - m_start, m_factor);
}

void ScaledClock::Sleep(std::chrono::nanoseconds duration) {
    {
        const std::lock_guard lock(m_mutex);
        m_sleeps.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(duration));
    }
    std::this_thread::sleep_for(Scale(duration, 1 / m_factor));
}

void ScaledClock::WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          std::chrono::nanoseconds timeout) {
    condition.wait_for(lock, Scale(timeout, 1 / m_factor));
}

std::vector<std::chrono::milliseconds> ScaledClock::GetSleeps() const {
    const std::lock_guard lock(m_mutex);
    return m_sleeps;
}

std::chrono::nanoseconds ManualClock::GetNow() {
    const std::lock_guard lock(m_mutex);
    return m_now;
}

void ManualClock::Sleep(std::chrono::nanoseconds duration) {
    std::unique_lock lock(m_mutex);
    const std::chrono::nanoseconds end = m_now + duration;
    const auto place = m_wakeTimes.insert(end);
    m_changed.notify_all();
    m_changed.wait(lock, [&] { return m_now >= end; });
    m_wakeTimes.erase(place);
}

void ManualClock::WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          std::chrono::nanoseconds /*timeout*/) {
    // Callers check GetNow() after each return, so polling in real time replaces a list of
    // conditions for Advance() to notify.
    condition.wait_for(lock, std::chrono::milliseconds(1));
}

void ManualClock::Advance(std::chrono::nanoseconds duration) {
    const std::lock_guard lock(m_mutex);
    m_now += duration;
    m_changed.notify_all();
}

void ManualClock::WaitForSleepers(int count) {
    std::unique_lock lock(m_mutex);
    // Threads whose time has come do not count, even if they have not woken yet.
    m_changed.wait(lock, [&] {
        return std::distance(m_wakeTimes.upper_bound(m_now), m_wakeTimes.end()) >= count;
    });
}

}  // namespace Kernel::Testing
