#include "terminal/DownloadProgress.h"

#include "terminal/Quantities.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace LearningApp {

namespace {

using namespace std::chrono_literals;

// A rate over a shorter span is unstable; one over a longer span lags behind.
constexpr auto ShortestSpan = 300ms;
constexpr auto LongestSpan = 4s;

constexpr auto TerminalPause = 100ms;
constexpr auto LogPause = 2s;

}  // namespace

void Rate::Add(Clock::time_point time, std::uint64_t bytes) {
    if (!m_samples.empty() && bytes < m_samples.back().bytes) {
        m_samples.clear();  // after a redirect, the count starts again
    }
    m_samples.push_back({time, bytes});
    while (time - m_samples.front().time > LongestSpan) {
        m_samples.pop_front();
    }
}

double Rate::Get() const {
    if (m_samples.empty()) {
        return 0;
    }
    const auto span = m_samples.back().time - m_samples.front().time;
    if (span < ShortestSpan) {
        return 0;
    }
    return static_cast<double>(m_samples.back().bytes - m_samples.front().bytes) /
           std::chrono::duration<double>(span).count();
}

std::string FormatProgress(std::uint64_t received, std::uint64_t total, double rate) {
    constexpr double LongestTime = 100.0 * 3600;  // longer estimates are not meaningful
    const auto done = static_cast<double>(received);
    const auto all = static_cast<double>(total);
    std::string text = FormatSize(done);
    if (total > 0) {
        const double percent = std::min(100.0, 100 * done / all);
        const std::string digits = std::to_string(static_cast<int>(percent));
        text = std::string(3 - digits.size(), ' ') + digits + "%  " + text + '/' + FormatSize(all);
    }
    if (rate > 0) {
        text += "  " + FormatSize(rate) + "/s";
        if (done < all && (all - done) / rate < LongestTime) {
            text += "  " + FormatDuration((all - done) / rate) + " left";
        }
    }
    return text;
}

DownloadProgress::DownloadProgress(Spinner& spinner, std::ostream& out, bool isTerminal,
                                   std::string name)
    : m_pause(spinner),
      m_out(out),
      m_isTerminal(isTerminal),
      m_name(std::move(name)),
      m_line(isTerminal ? &out : nullptr),
      m_shownTime(isTerminal ? Rate::Clock::time_point() : Rate::Clock::now()) {
    if (isTerminal) {
        m_line.Show(m_name);
    }
}

void DownloadProgress::Update(std::uint64_t received, std::uint64_t total,
                              Rate::Clock::time_point now) {
    m_rate.Add(now, received);
    if (!IsDue(received, total, now)) {
        return;
    }
    m_shownTime = now;
    m_shownBytes = received;
    const std::string text = FormatProgress(received, total, m_rate.Get());
    if (!m_isTerminal) {
        m_out << m_name + ": " + text + '\n' << std::flush;
    } else if (total > 0) {
        constexpr int Width = 15;
        const auto done = static_cast<double>(received);
        m_line.Show(m_name + ' ' + DrawBar(done, static_cast<double>(total), Width) + ' ' + text);
    } else {
        m_line.Show(m_name + "  " + text);
    }
}

bool DownloadProgress::IsDue(std::uint64_t received, std::uint64_t total,
                             Rate::Clock::time_point now) const {
    if (m_isTerminal) {
        return now - m_shownTime >= TerminalPause || (received == total && received > 0);
    }
    const std::uint64_t step = total / 10;
    return now - m_shownTime >= LogPause && received >= m_shownBytes + step;
}

}  // namespace LearningApp
