#include "failures/Failure.h"
#include "terminal/Interruption.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <string_view>

namespace LearningApp {

namespace {

// What a signal handler may write to.
std::atomic<bool> IsEndWanted = false;
std::atomic<int> LastSignal = 0;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

constexpr std::array Signals{SIGINT, SIGTERM, SIGHUP};
constexpr int ExitCode = 130;  // by which shells report SIGINT

void Catch(int signal, void (*handle)(int), struct sigaction& previous) noexcept {
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN) {  // a shell's background jobs ignore SIGINT
        return;
    }
    struct sigaction action {};
    action.sa_handler = handle;
    // The second signal has its default effect: it ends the process.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

void NoteSignal(int signal) noexcept {
    LastSignal = signal;
    IsEndWanted = true;
}

void Write(std::string_view text) noexcept {
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
}

/// Of what it calls, all may be called in the handler of a signal.
void EndProcess(int /*signal*/) noexcept {
    if (isatty(STDERR_FILENO) != 0) {
        Write("\r\x1B[K");  // wipes a line of progress
    }
    Write("learning: interrupted\n");
    _exit(ExitCode);
}

}  // namespace

/// What the signals did before.
struct Interruption::Previous {
    std::array<struct sigaction, Signals.size()> actions;
};

void EndWhenInterrupted() noexcept {
    for (const int signal : Signals) {
        struct sigaction previous {};
        Catch(signal, EndProcess, previous);
    }
    // A file that may not grow fails as on a full disk, with a reason.
    std::signal(SIGXFSZ, SIG_IGN);
}

Interruption::Interruption() : m_previous(std::make_unique<Previous>()) {
    IsEndWanted = false;
    for (std::size_t i = 0; i < Signals.size(); ++i) {
        Catch(Signals[i], NoteSignal, m_previous->actions[i]);
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < Signals.size(); ++i) {
        sigaction(Signals[i], &m_previous->actions[i], nullptr);
    }
    if (IsEndWanted && !m_hasThrown) {
        std::raise(LastSignal);
    }
}

Kernel::AbortFlag Interruption::GetFlag() const noexcept {
    return &IsEndWanted;
}

void Interruption::Check() const {
    if (IsEndWanted) {
        m_hasThrown = true;
        throw Interrupted();
    }
}

}  // namespace LearningApp
