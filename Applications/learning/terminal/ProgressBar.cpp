#include "terminal/ProgressBar.h"

#include "terminal/Quantities.h"

namespace LearningApp {

ProgressBar::ProgressBar(Spinner& spinner, std::ostream* terminal, const char* label, int total)
    : m_pause(spinner), m_line(terminal), m_label(label), m_total(total) {
    Draw();
}

void ProgressBar::Advance() {
    ++m_done;
    Draw();
}

void ProgressBar::Draw() const {
    constexpr int Width = 40;
    std::string text = std::string(m_label) + ' ' + DrawBar(m_done, m_total, Width) + ' ' +
                       std::to_string(m_done) + '/' + std::to_string(m_total);
    if (m_done > 0 && m_done < m_total) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
        text += "  " + FormatDuration(elapsed.count() / m_done * (m_total - m_done)) + " left";
    }
    m_line.Show(text);
}

}  // namespace LearningApp
