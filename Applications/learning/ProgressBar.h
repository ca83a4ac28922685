// A bar on the terminal for work that takes more than a moment.

#pragma once

#include <iosfwd>

namespace LearningApp {

/// One line that is drawn over and over, and wiped at the end.
class ProgressBar {
public:
    /// `terminal` may be null: nothing is shown.
    ProgressBar(std::ostream* terminal, const char* label, int total);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /// One of `total` steps is done.
    void Advance();

private:
    void Draw() const;

    std::ostream* m_terminal;
    const char* m_label;
    int m_total;
    int m_done = 0;
};

}  // namespace LearningApp
