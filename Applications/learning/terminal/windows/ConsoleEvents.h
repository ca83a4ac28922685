// What consoles tell the programs that run in them.

#pragma once

#include <windows.h>

namespace LearningApp {

/// What the system calls, on a thread of its own, when the user presses Ctrl-C or Ctrl-Break
/// (CTRL_C_EVENT, CTRL_BREAK_EVENT), closes the window, logs off or shuts down. Whether the program
/// has taken it, so that nobody else is asked.
BOOL WINAPI HandleConsoleEvent(DWORD event) noexcept;

}  // namespace LearningApp
