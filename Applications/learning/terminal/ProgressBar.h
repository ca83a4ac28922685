// A progress bar on the terminal.

#pragma once

#include "terminal/Spinner.h"
#include "terminal/StatusLine.h"

#include <chrono>
#include <iosfwd>

namespace LearningApp {

/// Shows how many of a number of steps are done, and how long the others will take.
class ProgressBar {
public:
    /// `terminal` may be null: nothing is shown. It is this bar's alone while the bar lives.
    ProgressBar(Spinner& spinner, std::ostream* terminal, const char* label, int total);

    /// One of `total` steps is done.
    void Advance();

private:
    void Draw() const;

    const Spinner::Pause m_pause;
    StatusLine m_line;
    const char* m_label;
    int m_total;
    int m_done = 0;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace LearningApp
