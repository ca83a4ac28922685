#include "inference/windows/ModuleLoading.h"

namespace Learning {

LoadedModule LoadModule(const wchar_t* path, DWORD flags) noexcept {
    DWORD modeOfThread = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, &modeOfThread);
    LoadedModule module;
    module.handle = LoadLibraryExW(path, nullptr, flags);
    if (module.handle == nullptr) {
        module.error = GetLastError();
    }
    SetThreadErrorMode(modeOfThread, nullptr);
    return module;
}

}  // namespace Learning
