#include "Kernel/IoException.h"
#include "Kernel/ModuleFolder.h"

#include "files/windows/SystemHandle.h"
#include "text/windows/WideText.h"

#include <windows.h>

#include <string>

namespace Kernel {

namespace {

[[noreturn]] void ThrowUnknown(DWORD error) {
    throw IoException("find the folder of", "a module", ToErrorCode(error));
}

HMODULE GetModule(const void* address) {
    HMODULE module = nullptr;
    if (address == nullptr) {  // for which the system would answer with the program
        ThrowUnknown(ERROR_MOD_NOT_FOUND);
    }
    if (GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<const wchar_t*>(address), &module) == 0) {
        ThrowUnknown(GetLastError());
    }
    return module;
}

}  // namespace

String GetModuleFolder(const void* address) {
    constexpr std::size_t LongestPath = std::size_t{1} << 15;  // with the zero at its end
    std::wstring path(LongestPath, L'\0');
    const DWORD length =
        GetModuleFileNameW(GetModule(address), path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length == path.size()) {
        ThrowUnknown(GetLastError());
    }
    path.resize(length);
    return FromWide(path.substr(0, path.rfind(L'\\') + 1));
}

}  // namespace Kernel
