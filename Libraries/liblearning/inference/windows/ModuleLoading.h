// Loading DLLs, and what became of it.

#pragma once

#include <windows.h>

namespace Learning {

struct LoadedModule {
    HMODULE handle = nullptr;
    DWORD error = ERROR_SUCCESS;  // why there is no handle
};

/// As LoadLibraryExW(), but the system shows nothing to users about files that are no DLLs.
LoadedModule LoadModule(const wchar_t* path, DWORD flags) noexcept;

}  // namespace Learning
