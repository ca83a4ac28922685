#include "failures/Failure.h"
#include "terminal/Interruption.h"

#include <atomic>
#include <csignal>

namespace LearningApp {

namespace {

// What a signal handler may write to.
std::atomic<bool> IsEndWanted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void Catch(int signal, struct sigaction& previous) {
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN) {  // a shell's background jobs ignore SIGINT
        return;
    }
    struct sigaction action {};
    action.sa_handler = [](int) { IsEndWanted = true; };
    // The second signal has its default effect: it ends the process.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

/// What the signals did before.
struct Interruption::Previous {
    struct sigaction interrupt;
    struct sigaction terminate;
};

Interruption::Interruption() : m_previous(std::make_unique<Previous>()) {
    IsEndWanted = false;
    Catch(SIGINT, m_previous->interrupt);
    Catch(SIGTERM, m_previous->terminate);
}

Interruption::~Interruption() {
    sigaction(SIGINT, &m_previous->interrupt, nullptr);
    sigaction(SIGTERM, &m_previous->terminate, nullptr);
}

Kernel::AbortFlag Interruption::GetFlag() const noexcept {
    return &IsEndWanted;
}

void Interruption::Check() const {
    if (IsEndWanted) {
        throw Interrupted();
    }
}

}  // namespace LearningApp
