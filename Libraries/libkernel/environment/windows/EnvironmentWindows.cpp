#include "Kernel/Environment.h"
#include "Kernel/Utf.h"

#include "text/windows/WideText.h"

#include <windows.h>

namespace Kernel {

std::optional<String> GetEnv(const String& name) {
    if (name.empty() || HasZeroByte(name)) {
        return std::nullopt;
    }
    const std::wstring wideName = ToWide(name);
    std::wstring value(1, L'\0');
    for (;;) {
        // The length, or the size with the zero at the end if there is not enough room.
        SetLastError(ERROR_SUCCESS);
        const DWORD length = GetEnvironmentVariableW(wideName.c_str(), value.data(),
                                                     static_cast<DWORD>(value.size()));
        if (length == 0 && GetLastError() != ERROR_SUCCESS) {
            return std::nullopt;
        }
        const bool isWhole = length < value.size();
        value.resize(length);
        if (isWhole) {
            return FromWide(value);
        }
    }
}

}  // namespace Kernel
