// How long the phases of a command take.

#pragma once

#include "Kernel/CriticalSection.h"

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <vector>

namespace LearningApp {

/// A phase of a command. What belongs to none is shown as "other".
enum class Phase { Decode, Open, Run, Encode, Request };

/// For example "opening the network".
const char* DescribePhase(Phase phase) noexcept;

/// Collects spans of time. Those of several threads may overlap.
///
/// Threads: any.
class Stopwatch {
public:
    /// The time until now is the processor time that the process has taken to start.
    Stopwatch();

    /// Calls `work`, and adds the time that it takes to `phase`.
    template <class Work>
    auto Time(Phase phase, const Work& work) {
        const Span span(*this, phase);
        return work();
    }

    /// A run has needed that many bytes.
    void NoteMemory(std::uint64_t bytes);

    /// Prints a table: each phase, what is in none of them, and the whole.
    void Print(std::ostream& out) const;

private:
    using Clock = std::chrono::steady_clock;

    class Span {
    public:
        Span(Stopwatch& stopwatch, Phase phase)
            : m_stopwatch(stopwatch), m_phase(phase), m_begin(Clock::now()) {}
        Span(const Span&) = delete;
        Span& operator=(const Span&) = delete;
        ~Span() { m_stopwatch.Add(m_phase, m_begin, Clock::now()); }

    private:
        Stopwatch& m_stopwatch;
        Phase m_phase;
        Clock::time_point m_begin;
    };

    struct Entry {
        Phase phase;
        Clock::time_point begin;
        Clock::time_point end;
    };

    void Add(Phase phase, Clock::time_point begin, Clock::time_point end);
    /// How long no phase was under way until `end`.
    Clock::duration MeasureRest(Clock::time_point end) const;

    const Clock::time_point m_begin;
    const std::chrono::duration<double, std::milli> m_start;
    mutable Kernel::CriticalSection m_lock;
    std::vector<Entry> m_entries;
    std::uint64_t m_memory = 0;
};

}  // namespace LearningApp
