#include "ProgressBar.h"

#include <ostream>
#include <string>

namespace LearningApp {

ProgressBar::ProgressBar(std::ostream* terminal, const char* label, int total)
    : m_terminal(terminal), m_label(label), m_total(total) {
    Draw();
}

ProgressBar::~ProgressBar() {
    if (m_terminal != nullptr) {
        *m_terminal << "\r\x1B[K" << std::flush;  // to the start of the line, and erase it
    }
}

void ProgressBar::Advance() {
    ++m_done;
    Draw();
}

void ProgressBar::Draw() const {
    if (m_terminal == nullptr) {
        return;
    }
    constexpr int Width = 40;
    const auto filled = static_cast<std::size_t>(Width * static_cast<long long>(m_done) / m_total);
    *m_terminal << '\r' << m_label << " [" << std::string(filled, '#')
                << std::string(Width - filled, '.') << "] " << m_done << '/' << m_total
                << std::flush;
}

}  // namespace LearningApp
