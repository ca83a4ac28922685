// Showing how far a download is.

#pragma once

#include "terminal/Spinner.h"
#include "terminal/StatusLine.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <string>

namespace LearningApp {

/// How fast something grows: the mean of the last seconds.
class Rate {
public:
    using Clock = std::chrono::steady_clock;

    /// At `time` it has `bytes`.
    void Add(Clock::time_point time, std::uint64_t bytes);
    /// Bytes per second; 0 until there are enough samples.
    double Get() const;

private:
    struct Sample {
        Clock::time_point time;
        std::uint64_t bytes;
    };
    std::deque<Sample> m_samples;
};

/// For example " 45%  30.1 MB/66.3 MB  12.0 MB/s  0:03 left"; less of it if `total` (bytes) or
/// `rate` is 0, which means that it is not known.
std::string FormatProgress(std::uint64_t received, std::uint64_t total, double rate);

/// Shows a download as a bar on a terminal; elsewhere, such as in a log, as a line every few
/// seconds.
///
/// Threads: one at a time, not always the same.
class DownloadProgress {
public:
    DownloadProgress(Spinner& spinner, std::ostream& out, bool isTerminal, std::string name);

    /// `received` of `total` bytes are here; `total` is 0 while it is not known.
    void Update(std::uint64_t received, std::uint64_t total,
                Rate::Clock::time_point now = Rate::Clock::now());

private:
    /// Whether enough has changed since the last line.
    bool IsDue(std::uint64_t received, std::uint64_t total, Rate::Clock::time_point now) const;

    const Spinner::Pause m_pause;
    std::ostream& m_out;
    const bool m_isTerminal;
    const std::string m_name;
    StatusLine m_line;
    Rate m_rate;
    Rate::Clock::time_point m_shownTime;
    std::uint64_t m_shownBytes = 0;
};

}  // namespace LearningApp
