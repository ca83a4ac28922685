// Stand-ins for tests: time that a test controls, and diagnostics that it reads. Product code never
// includes this header.

#pragma once

#include "Kernel/Clock.h"
#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <vector>

namespace Kernel::Testing {

/// Makes `clock` the clock of the whole process for as long as this object lives. Nothing may be
/// sleeping or in a timed wait when it comes or goes.
class KERNEL_API ScopedClock {
public:
    explicit ScopedClock(Clock& clock);
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;
    ~ScopedClock();

private:
    Clock& m_previous;
};

/// A clock on which sleeps and timed waits take a small part of their time, and are noted down. For
/// running a whole operation as it is, only faster.
class KERNEL_API ScaledClock : public Clock {
public:
    /// `factor`: how many times faster than real time this clock runs.
    explicit ScaledClock(double factor);

    std::chrono::nanoseconds GetNow() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    void WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 std::chrono::nanoseconds timeout) override;

    /// The durations of all sleeps so far, in the order in which they began.
    std::vector<std::chrono::milliseconds> GetSleeps() const;

private:
    const double m_factor;
    const std::chrono::steady_clock::time_point m_start;
    mutable std::mutex m_mutex;
    std::vector<std::chrono::milliseconds> m_sleeps;
};

/// A clock that stands still until Advance() moves it. For looking at each step of an operation.
class KERNEL_API ManualClock : public Clock {
public:
    std::chrono::nanoseconds GetNow() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    void WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 std::chrono::nanoseconds timeout) override;

    void Advance(std::chrono::nanoseconds duration);
    /// Waits, in real time, until `count` threads are asleep on this clock.
    void WaitForSleepers(int count);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::chrono::nanoseconds m_now{};
    std::multiset<std::chrono::nanoseconds> m_wakeTimes;  // of all in Sleep(), due or not
};

/// Keeps the text that a channel (Trace or Log) writes for as long as this object lives.
template <class Channel>
class Recorded {
public:
    Recorded() : m_previous(Channel::SetSink(m_sink)) {}
    Recorded(const Recorded&) = delete;
    Recorded& operator=(const Recorded&) = delete;
    ~Recorded() { Channel::SetSink(m_previous); }

    std::vector<String> GetMessages() const { return m_sink->GetMessages(); }
    int GetFlushes() const { return m_sink->GetFlushes(); }

private:
    class Sink : public DiagnosticSink {
    public:
        void Write(std::string_view text) override {
            const ScopedLock lock(m_lock);
            m_messages.emplace_back(text);
        }
        void Flush() override {
            const ScopedLock lock(m_lock);
            ++m_flushes;
        }
        std::vector<String> GetMessages() {
            const ScopedLock lock(m_lock);
            return m_messages;
        }
        int GetFlushes() {
            const ScopedLock lock(m_lock);
            return m_flushes;
        }

    private:
        CriticalSection m_lock;
        std::vector<String> m_messages;
        int m_flushes = 0;
    };

    Counted<Sink> m_sink = MakeCounted<Sink>();
    Counted<DiagnosticSink> m_previous;
};

}  // namespace Kernel::Testing
