#include "failures/Failure.h"
#include "terminal/Interruption.h"
#include "terminal/StandardStreams.h"
#include "terminal/windows/ConsoleEvents.h"

#include <windows.h>

#include <atomic>
#include <mutex>
#include <string_view>

namespace LearningApp {

namespace {

constexpr UINT ExitCode = 130;                // as on other systems
constexpr UINT SystemsExitCode = 0xC000013A;  // STATUS_CONTROL_C_EXIT

std::mutex Mutex;                       // of what follows
bool IsWatched = false;                 // an Interruption lives
bool EndsAtOnce = false;                // EndWhenInterrupted() has been called
std::atomic<bool> IsEndWanted = false;  // is read without the mutex

/// Whether this is the first one that the Interruption that lives has heard of.
bool NoteEvent() noexcept {
    const std::lock_guard lock(Mutex);
    return IsWatched && !IsEndWanted.exchange(true);
}

void Write(std::string_view text) noexcept {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()),
              &written, nullptr);
}

[[noreturn]] void EndProcess() noexcept {
    if (IsErrorTerminal()) {
        Write("\r\x1B[K");  // wipes a line of progress
    }
    Write("learning: interrupted\n");
    RestoreTerminals();
    // Not exit(): another thread may hold what that waits for.
    TerminateProcess(GetCurrentProcess(), ExitCode);
    for (;;) {
        Sleep(INFINITE);
    }
}

/// Once and for all: the system holds a lock while it calls a handler, so that one that waits for
/// the end of the process would keep a thread for ever that takes a handler away.
void Listen() noexcept {
    static std::once_flag once;
    std::call_once(once, [] { SetConsoleCtrlHandler(HandleConsoleEvent, TRUE); });
}

/// Whether the system ends the process as soon as the handler of `event` returns.
bool IsLast(DWORD event) noexcept {
    return event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT;
}

}  // namespace

BOOL WINAPI HandleConsoleEvent(DWORD event) noexcept {
    if (NoteEvent()) {
        if (IsLast(event)) {
            Sleep(INFINITE);  // some seconds, in which the program ends in order
        }
        return TRUE;
    }
    {
        const std::lock_guard lock(Mutex);
        if (!EndsAtOnce) {
            return FALSE;
        }
    }
    EndProcess();
}

/// Nothing: what the events did before is known without.
struct Interruption::Previous {};

void EndWhenInterrupted() noexcept {
    Listen();
    const std::lock_guard lock(Mutex);
    EndsAtOnce = true;
}

Interruption::Interruption() {
    Listen();
    const std::lock_guard lock(Mutex);
    IsEndWanted = false;
    IsWatched = true;
}

Interruption::~Interruption() {
    bool isTooLate = false;
    bool isEndedHere = false;
    {
        const std::lock_guard lock(Mutex);
        IsWatched = false;
        isTooLate = IsEndWanted && !m_hasThrown;
        isEndedHere = EndsAtOnce;
    }
    if (!isTooLate) {
        return;
    }
    if (isEndedHere) {
        EndProcess();
    }
    TerminateProcess(GetCurrentProcess(), SystemsExitCode);  // as the system's own handler
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
