// Handles of Windows with an owner, and what its calls leave behind.

#pragma once

#include <windows.h>

#include <memory>
#include <system_error>

namespace Kernel {

struct SystemHandleClose {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// A handle that is closed when it dies; null for none.
using SystemHandle = std::unique_ptr<void, SystemHandleClose>;

/// As CreateFileW(), in a way that lets others read, write, rename and delete the file meanwhile.
inline SystemHandle OpenHandle(const wchar_t* path, DWORD access, DWORD disposition, DWORD flags,
                               SECURITY_ATTRIBUTES* security = nullptr) noexcept {
    constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE handle =
        CreateFileW(path, access, ShareAll, security, disposition, flags, nullptr);
    return SystemHandle(handle != INVALID_HANDLE_VALUE ? handle : nullptr);
}

/// What a call of the system has returned or left as its error.
inline std::error_code ToErrorCode(DWORD error = GetLastError()) noexcept {
    return {static_cast<int>(error), std::system_category()};
}

}  // namespace Kernel
