#include "terminal/Spinner.h"

#include "Kernel/Dispatch.h"

#include "terminal/Quantities.h"

#include <string_view>
#include <system_error>
#include <utility>

namespace LearningApp {

namespace {

using namespace std::chrono_literals;

constexpr auto Patience = 500ms;
constexpr auto TurnTime = 100ms;

}  // namespace

Spinner::Spinner(std::ostream* terminal) : m_line(terminal) {
    if (terminal == nullptr) {
        return;
    }
    try {
        m_thread = Kernel::Dispatch::DispatchJoinable([this] { Turn(); },
                                                      Kernel::Dispatch::Priority::Normal,
                                                      Kernel::Dispatch::ThreadPurpose::Background);
    } catch (const std::system_error&) {  // the work goes on without
    }
}

Spinner::~Spinner() {
    if (m_thread.joinable()) {
        {
            const std::lock_guard lock(m_mutex);
            m_isEnding = true;
        }
        m_ending.notify_one();
        m_thread.join();
    }
}

void Spinner::SetSubject(std::string subject) {
    const std::lock_guard lock(m_mutex);
    m_subject = std::move(subject);
    m_begin = Clock::now();
}

void Spinner::Turn() {
    std::unique_lock lock(m_mutex);
    for (int turn = 0; !m_isEnding; ++turn) {
        if (m_pauses == 0 && Clock::now() - m_begin >= Patience) {
            Draw(turn);
        }
        m_ending.wait_for(lock, TurnTime);
    }
}

void Spinner::Draw(int turn) const {
    constexpr std::string_view Signs = "|/-\\";
    std::string text{Signs[static_cast<std::size_t>(turn) % Signs.size()]};
    text += m_subject.empty() ? "" : " " + m_subject + ":";
    text += ' ';
    text += m_steps.empty() ? "working" : m_steps.back();
    const std::chrono::duration<double> elapsed = Clock::now() - m_begin;
    m_line.Show(text + "  " + FormatDuration(elapsed.count()));
}

Spinner::Step::Step(Spinner& spinner, const char* name) : m_spinner(spinner) {
    const std::lock_guard lock(spinner.m_mutex);
    m_place = spinner.m_steps.insert(spinner.m_steps.end(), name);
}

Spinner::Step::~Step() {
    const std::lock_guard lock(m_spinner.m_mutex);
    m_spinner.m_steps.erase(m_place);
}

Spinner::Pause::Pause(Spinner& spinner) : m_spinner(spinner) {
    const std::lock_guard lock(spinner.m_mutex);
    ++spinner.m_pauses;
    spinner.m_line.Clear();
}

Spinner::Pause::~Pause() {
    const std::lock_guard lock(m_spinner.m_mutex);
    --m_spinner.m_pauses;
    m_spinner.m_begin = Clock::now();
}

}  // namespace LearningApp
