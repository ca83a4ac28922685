#include "terminal/ProgressBar.h"

namespace LearningApp {

ProgressBar::ProgressBar(std::ostream* terminal, const char* label, int total)
    : m_line(terminal), m_label(label), m_total(total) {
    Draw();
}

void ProgressBar::Advance() {
    ++m_done;
    Draw();
}

void ProgressBar::Draw() const {
    constexpr int Width = 40;
    m_line.Show(std::string(m_label) + ' ' + DrawBar(m_done, m_total, Width) + ' ' +
                std::to_string(m_done) + '/' + std::to_string(m_total));
}

}  // namespace LearningApp
