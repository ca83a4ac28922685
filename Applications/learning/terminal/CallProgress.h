// Showing how far a call of the inference service is.

#pragma once

#include "terminal/Spinner.h"
#include "terminal/StatusLine.h"

#include <iosfwd>
#include <mutex>
#include <string>

namespace LearningApp {

/// A bar for the time that a call is expected to take, and what it is about.
///
/// Threads: any.
class CallProgress {
public:
    /// `terminal` may be null: nothing is shown. It is this bar's alone while the bar lives.
    CallProgress(Spinner& spinner, std::ostream* terminal, std::string label);

    bool IsShown() const noexcept { return m_isShown; }
    /// `share` of the time has passed, 0..1.
    void SetShare(float share);
    /// For example "polling 3 of 20".
    void SetPhase(std::string phase);

private:
    void Draw() const;

    const Spinner::Pause m_pause;
    const bool m_isShown;
    const StatusLine m_line;
    const std::string m_label;
    std::mutex m_mutex;  // of all below, and of the line
    float m_share = 0;
    std::string m_phase;
};

}  // namespace LearningApp
