// The runtime of Windows apps, without which there is no catalogue of execution providers: a
// process that has this library has it, or ends.

#include "Kernel/Diagnostics.h"
#include "Kernel/IoException.h"

#include "inference/windows/ModuleLoading.h"

#include <system_error>

namespace Learning {

namespace {

constexpr const wchar_t* RuntimeName = L"Microsoft.WindowsAppRuntime.dll";

/// Ends the process at once. ExitProcess() would have every DLL of a process clean up that is half
/// set up and whose other threads have been ended, perhaps while they held locks that a DLL then
/// waits for, all under the loader's lock: it might end with another code, or never.
void StopProcess(DWORD error) {
    const std::error_code reason(static_cast<int>(error), std::system_category());
    Kernel::Log::Write("Microsoft.WindowsAppRuntime.dll can't be loaded: %1\n",
                       Kernel::DescribeError(reason));
    Kernel::Log::Flush();
    if (IsDebuggerPresent()) {  // otherwise Windows would fail the loading of our DLL and go on
        DebugBreak();
    }
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(HRESULT_FROM_WIN32(error)));
}

bool LoadOnce() {
    static const bool isLoaded = [] {
        const LoadedModule runtime = LoadModule(RuntimeName, 0);
        if (runtime.handle == nullptr) {
            StopProcess(runtime.error);
        }
        return true;
    }();
    return isLoaded;
}

}  // namespace

}  // namespace Learning

// Deliberate: the one global whose constructor runs code. Its plain name is for linkers, which are
// told to keep it where the library is an archive: nothing refers to it.
extern "C" {
extern const bool OrvantisWindowsAppRuntimeIsLoaded;
const bool OrvantisWindowsAppRuntimeIsLoaded = Learning::LoadOnce();
}
