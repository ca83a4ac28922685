#include "host/Stopwatch.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>
#include <ostream>
#include <utility>

namespace LearningApp {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

struct NamedPhase {
    Phase phase;
    const char* name;
    const char* description;
};

constexpr std::array<NamedPhase, 5> Phases{{
    {Phase::Decode, "decode", "reading"},
    {Phase::Open, "open", "opening the network"},
    {Phase::Run, "run", "running the network"},
    {Phase::Encode, "encode", "writing"},
    {Phase::Request, "request", "asking the service"},
}};

void PrintRow(std::ostream& out, const char* name, Milliseconds time) {
    out << std::left << std::setw(8) << name << std::right << std::setw(12) << std::fixed
        << std::setprecision(1) << time.count() << '\n';
}

}  // namespace

const char* DescribePhase(Phase phase) noexcept {
    return std::ranges::find(Phases, phase, &NamedPhase::phase)->description;
}

Stopwatch::Stopwatch()
    : m_begin(Clock::now()), m_start(1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC) {}

void Stopwatch::NoteMemory(std::uint64_t bytes) {
    const Kernel::ScopedLock lock(m_lock);
    m_memory = std::max(m_memory, bytes);
}

void Stopwatch::Print(std::ostream& out) const {
    const Kernel::ScopedLock lock(m_lock);
    const Clock::time_point end = Clock::now();
    out << "PHASE   MILLISECONDS\n";
    PrintRow(out, "start", m_start);
    for (const auto& [phase, name, description] : Phases) {
        Milliseconds time{};
        for (const Entry& entry : m_entries) {
            if (entry.phase == phase) {
                time += entry.end - entry.begin;
            }
        }
        if (phase != Phase::Request || time.count() > 0) {
            PrintRow(out, name, time);
        }
    }
    PrintRow(out, "other", MeasureRest(end));
    PrintRow(out, "total", m_start + (end - m_begin));
    if (m_memory > 0) {
        out << "A run has needed " << std::setprecision(1) << static_cast<double>(m_memory) * 1e-6
            << " MB at its peak, besides the network and its inputs and outputs.\n";
    }
}

void Stopwatch::Add(Phase phase, Clock::time_point begin, Clock::time_point end) {
    const Kernel::ScopedLock lock(m_lock);
    m_entries.push_back({phase, begin, end});
}

Stopwatch::Clock::duration Stopwatch::MeasureRest(Clock::time_point end) const {
    std::vector<Entry> entries = m_entries;
    std::ranges::sort(entries, {}, &Entry::begin);
    Clock::duration rest{};
    Clock::time_point covered = m_begin;
    for (const Entry& entry : entries) {
        rest += std::max(entry.begin - covered, Clock::duration::zero());
        covered = std::max(covered, entry.end);
    }
    return rest + (end - covered);
}

}  // namespace LearningApp
