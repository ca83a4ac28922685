#include "http/AtExit.h"

#include <windows.h>

#include <cstdlib>

namespace Network::Http {

namespace {

/// Whether this code is a part of the program, not of a library that it has loaded.
bool IsInProgram() noexcept {
    constexpr DWORD Flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE own = nullptr;
    GetModuleHandleExW(Flags, reinterpret_cast<const wchar_t*>(&CallAtExit), &own);
    return own == GetModuleHandleW(nullptr);
}

}  // namespace

// What a library registers is called when the other threads of the process have been ended, or,
// where the library is unloaded, with a lock held that they need to end.
void CallAtExit(void (*end)()) {
    if (IsInProgram()) {
        std::atexit(end);
    }
}

}  // namespace Network::Http
