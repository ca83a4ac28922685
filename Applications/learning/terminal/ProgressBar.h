// A progress bar on the terminal.

#pragma once

#include "terminal/StatusLine.h"

#include <iosfwd>

namespace LearningApp {

/// Shows how many of a number of steps are done.
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
};

}  // namespace LearningApp
