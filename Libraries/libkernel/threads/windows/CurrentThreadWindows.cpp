#include "threads/CurrentThread.h"

#include <windows.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <thread>

namespace Kernel {

namespace {

const wchar_t* GetThreadName(Dispatch::ThreadPurpose purpose) noexcept {
    switch (purpose) {
        case Dispatch::ThreadPurpose::Background:
            return L"background";
        case Dispatch::ThreadPurpose::Pixels:
            return L"pixels";
        case Dispatch::ThreadPurpose::General:
            break;
    }
    return L"worker";
}

int ToSystemPriority(Dispatch::Priority priority) noexcept {
    switch (priority) {
        case Dispatch::Priority::Idle:
            return THREAD_PRIORITY_IDLE;
        case Dispatch::Priority::Low:
            return THREAD_PRIORITY_BELOW_NORMAL;
        case Dispatch::Priority::Normal:
        case Dispatch::Priority::High:  // as on Linux, where that is a privilege
            break;
    }
    return THREAD_PRIORITY_NORMAL;
}

/// SetThreadDescription(), since Windows 10 1607; null where it is missing.
auto FindNaming() noexcept {
    using Naming = HRESULT WINAPI(HANDLE thread, PCWSTR name);
    const HMODULE system = GetModuleHandleW(L"kernelbase.dll");
    return reinterpret_cast<Naming*>(
        reinterpret_cast<void*>(GetProcAddress(system, "SetThreadDescription")));
}

}  // namespace

void SetUpCurrentThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority) noexcept {
    static auto* const setName = FindNaming();
    if (setName != nullptr) {
        setName(GetCurrentThread(), GetThreadName(purpose));
    }
    SetThreadPriority(GetCurrentThread(), ToSystemPriority(priority));
}

unsigned CountProcessors() noexcept {
    DWORD_PTR allowed = 0;
    DWORD_PTR present = 0;
    // 0 for a process that runs in several groups of up to 64 processors.
    const bool isKnown =
        GetProcessAffinityMask(GetCurrentProcess(), &allowed, &present) != 0 && allowed != 0;
    return isKnown ? static_cast<unsigned>(std::popcount(std::uint64_t{allowed}))
                   : std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace Kernel
