// A progress bar on the terminal.

#pragma once

#include "terminal/StatusLine.h"

#include <chrono>
#include <iosfwd>

namespace LearningApp {

/// Shows how many of a number of steps are done, and how long the others will take.
class ProgressBar {
public:
    /// `terminal` may be null: nothing is shown.
    ProgressBar(std::ostream* terminal, const char* label, int total);

    /// One of `total` steps is done.
    void Advance();

private:
    void Draw() const;

    StatusLine m_line;
    const char* m_label;
    int m_total;
    int m_done = 0;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace LearningApp
