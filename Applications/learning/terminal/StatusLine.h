// A line on the terminal that changes while work goes on.

#pragma once

#include <iosfwd>
#include <string>

namespace LearningApp {

/// One line that is drawn over and over, and wiped at the end.
class StatusLine {
public:
    /// `terminal` may be null: nothing is shown.
    explicit StatusLine(std::ostream* terminal) noexcept : m_terminal(terminal) {}
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    ~StatusLine();

    /// Puts `text` in place of what the line shows. What is too long for the terminal is cut.
    void Show(const std::string& text) const;
    /// Takes away what the line shows.
    void Clear() const;

private:
    std::ostream* m_terminal;
};

/// "[###.....]" with `width` signs, of which the share `done` of `total`, which is not 0, is
/// filled.
std::string DrawBar(double done, double total, int width);

}  // namespace LearningApp
