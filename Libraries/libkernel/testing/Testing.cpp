#include "Kernel/Testing.h"

#include "time/CurrentClock.h"

#include <algorithm>

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
    Note(ClockNote::Kind::Sleep, duration);
    std::this_thread::sleep_for(Scale(duration, 1 / m_factor));
}

bool ScaledClock::WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          std::chrono::nanoseconds timeout, const std::function<bool()>& isDone) {
    if (isDone() || timeout <= std::chrono::nanoseconds::zero()) {
        return isDone();
    }
    Note(ClockNote::Kind::Wait, timeout);
    return condition.wait_for(lock, Scale(timeout, 1 / m_factor), isDone);
}

std::vector<ClockNote> ScaledClock::GetNotes() const {
    const std::lock_guard lock(m_mutex);
    return m_notes;
}

void ScaledClock::Note(ClockNote::Kind kind, std::chrono::nanoseconds duration) {
    const std::lock_guard lock(m_mutex);
    m_notes.push_back({kind, std::this_thread::get_id(),
                       std::chrono::duration_cast<std::chrono::milliseconds>(duration)});
}

std::chrono::nanoseconds ManualClock::GetNow() {
    const std::lock_guard lock(m_mutex);
    return m_now;
}

void ManualClock::Sleep(std::chrono::nanoseconds duration) {
    std::condition_variable nobodyNotifies;  // but the clock
    std::mutex own;
    std::unique_lock lock(own);
    WaitFor(nobodyNotifies, lock, duration, [] { return false; });
}

bool ManualClock::WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          std::chrono::nanoseconds timeout, const std::function<bool()>& isDone) {
    const auto change = [this](const auto& changeList) {
        const std::lock_guard ownLock(m_mutex);
        changeList();
        m_changed.notify_all();
    };
    std::list<Sleeper>::iterator self;
    change([&] { self = m_sleepers.insert(m_sleepers.end(), {m_now + timeout, &condition}); });
    while (!isDone() && GetNow() < self->end) {
        condition.wait(lock);
    }
    change([&] { m_sleepers.erase(self); });
    return isDone();
}

void ManualClock::Advance(std::chrono::nanoseconds duration) {
    std::unique_lock lock(m_mutex);
    m_now += duration;
    const auto wakeDue = [this] {
        bool isAnyDue = false;
        for (const Sleeper& sleeper : m_sleepers) {
            if (IsDue(sleeper)) {
                sleeper.condition->notify_all();
                isAnyDue = true;
            }
        }
        return isAnyDue;
    };
    // Repeated, since a thread between its look at the time and its wait misses the notice. Holding
    // its lock here instead would turn the order of the two locks round.
    while (wakeDue()) {
        m_changed.wait_for(lock, std::chrono::milliseconds(1));
    }
}

void ManualClock::WaitForSleepers(int count) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] {
        return std::ranges::count_if(m_sleepers,
                                     [this](const auto& each) { return !IsDue(each); }) >= count;
    });
}

}  // namespace Kernel::Testing
