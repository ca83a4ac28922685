#include "terminal/CallProgress.h"

#include <algorithm>
#include <utility>

namespace LearningApp {

CallProgress::CallProgress(Spinner& spinner, std::ostream* terminal, std::string label)
    : m_pause(spinner),
      m_isShown(terminal != nullptr),
      m_line(terminal),
      m_label(std::move(label)) {}

void CallProgress::SetShare(float share) {
    const std::lock_guard lock(m_mutex);
    m_share = share;
    Draw();
}

void CallProgress::SetPhase(std::string phase) {
    const std::lock_guard lock(m_mutex);
    m_phase = std::move(phase);
    Draw();
}

void CallProgress::Draw() const {
    constexpr int Width = 40;
    const std::string percent = std::to_string(static_cast<int>(100 * m_share));
    m_line.Show(m_label + ' ' + DrawBar(m_share, 1, Width) + ' ' +
                std::string(3 - std::min<std::size_t>(3, percent.size()), ' ') + percent + "%  " +
                m_phase);
}

}  // namespace LearningApp
