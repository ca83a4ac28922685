#include "terminal/StandardStreams.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <optional>

namespace LearningApp {

namespace {

/// A console's way to show what is written to a stream.
struct Screen {
    DWORD stream;
    std::optional<DWORD> mode;  // before PrepareStreams(), if that has changed it
};

std::array<Screen, 2> Screens{{{STD_OUTPUT_HANDLE, {}}, {STD_ERROR_HANDLE, {}}}};
UINT CodePage = 0;  // likewise; else 0
std::atomic<bool> IsPrepared = false;

std::optional<DWORD> FindMode(DWORD stream) noexcept {
    DWORD mode = 0;
    const bool isConsole = GetConsoleMode(GetStdHandle(stream), &mode) != 0;
    return isConsole ? std::optional(mode) : std::nullopt;
}

/// Consoles before Windows 10 1511 refuse the mode: there the sequences are seen.
void Prepare(Screen& screen) noexcept {
    const std::optional<DWORD> mode = FindMode(screen.stream);
    if (mode && SetConsoleMode(GetStdHandle(screen.stream),
                               *mode | ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT |
                                   ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0) {
        screen.mode = mode;
    }
}

}  // namespace

bool IsInputTerminal() noexcept {
    return FindMode(STD_INPUT_HANDLE).has_value();
}

bool IsOutputTerminal() noexcept {
    return FindMode(STD_OUTPUT_HANDLE).has_value();
}

bool IsErrorTerminal() noexcept {
    return FindMode(STD_ERROR_HANDLE).has_value();
}

void PrepareStreams() noexcept {
    for (std::FILE* const stream : {stdin, stdout, stderr}) {
        _setmode(_fileno(stream),
                 _O_BINARY);  // else line feeds are changed, also those of pictures
    }
    if (IsOutputTerminal() || IsErrorTerminal()) {
        const UINT previous = GetConsoleOutputCP();
        CodePage = SetConsoleOutputCP(CP_UTF8) != 0 ? previous : 0;
    }
    for (Screen& screen : Screens) {
        Prepare(screen);
    }
    IsPrepared = true;
}

void RestoreTerminals() noexcept {
    if (!IsPrepared.exchange(false)) {
        return;
    }
    // In the reverse order: both may be one console.
    for (std::size_t i = Screens.size(); i-- > 0;) {
        if (Screens[i].mode) {
            SetConsoleMode(GetStdHandle(Screens[i].stream), *Screens[i].mode);
        }
    }
    if (CodePage != 0) {
        SetConsoleOutputCP(CodePage);
    }
}

}  // namespace LearningApp
