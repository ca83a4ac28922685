// Test doubles: clocks that a test controls, and diagnostic sinks that it reads. Product code does
// not include this header.

#pragma once

#include "Kernel/Clock.h"
#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace Kernel::Testing {

/// Makes `clock` the clock of the process during the lifetime of this object. No thread may be in a
/// sleep or timed wait when the clock changes.
class KERNEL_API ScopedClock {
public:
    explicit ScopedClock(Clock& clock);
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;
    ~ScopedClock();

private:
    Clock& m_previous;
};

/// A sleep or timed wait that a clock has noted.
struct ClockNote {
    enum class Kind { Sleep, Wait };

    Kind kind;
    std::thread::id thread;
    std::chrono::milliseconds duration;  // that was asked for

    friend bool operator==(const ClockNote&, const ClockNote&) = default;
};

/// A clock that is faster than real time and notes sleeps and timed waits, for tests of whole
/// operations.
class KERNEL_API ScaledClock : public Clock {
public:
    /// `factor`: the speed of this clock relative to real time.
    explicit ScaledClock(double factor);

    std::chrono::nanoseconds GetNow() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    bool WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 std::chrono::nanoseconds timeout, const std::function<bool()>& isDone) override;

    /// All sleeps so far, and all waits that did not end at once, in the order of their start.
    std::vector<ClockNote> GetNotes() const;

private:
    void Note(ClockNote::Kind kind, std::chrono::nanoseconds duration);

    const double m_factor;
    const std::chrono::steady_clock::time_point m_start;
    mutable std::mutex m_mutex;
    std::vector<ClockNote> m_notes;
};

/// A clock that only Advance() moves, for tests of single steps of an operation.
class KERNEL_API ManualClock : public Clock {
public:
    std::chrono::nanoseconds GetNow() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    bool WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                 std::chrono::nanoseconds timeout, const std::function<bool()>& isDone) override;

    /// Moves this clock, and returns when all sleeps and timed waits that are due have ended. The
    /// caller holds no lock that one of them needs.
    void Advance(std::chrono::nanoseconds duration);
    /// Waits, in real time, until `count` threads are in a sleep or timed wait that is not due.
    void WaitForSleepers(int count);

private:
    struct Sleeper {
        std::chrono::nanoseconds end;
        std::condition_variable* condition;
    };

    bool IsDue(const Sleeper& sleeper) const noexcept { return sleeper.end <= m_now; }

    std::mutex m_mutex;
    std::condition_variable m_changed;  // the time or the list
    std::chrono::nanoseconds m_now{};
    std::list<Sleeper> m_sleepers;
};

/// Records the messages of a channel (Trace or Log) during the lifetime of this object.
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
