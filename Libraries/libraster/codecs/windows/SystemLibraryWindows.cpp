// Windows has no libraries for pictures of this kind: they come with ours, and lie beside it. They
// are looked for nowhere else, since a file of that name in another folder may be anybody's.

#include "Kernel/IoException.h"
#include "Raster/CodecException.h"

#include "codecs/SystemLibrary.h"

#include <windows.h>

#include <string>
#include <system_error>

namespace Raster {

namespace {

[[noreturn]] void ThrowUnusable(const char* kind, const std::string& file) {
    const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
    throw CodecException(std::string(kind) + " pictures can't be read without the library " + file +
                         ": " + Kernel::DescribeError(error).c_str());
}

/// The folder of the module that holds this code, with '\\' at its end; empty if that is unknown.
std::wstring GetOurFolder() {
    HMODULE module = nullptr;
    if (GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<const wchar_t*>(&GetOurFolder), &module) == FALSE) {
        return {};
    }
    constexpr std::size_t LongestPath = 1 << 15;
    std::wstring path(LongestPath, L'\0');
    path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.rfind(L'\\') + 1);
}

HMODULE Open(const std::string& name) {
    HMODULE library = nullptr;
    for (const wchar_t* prefix : {L"", L"lib"}) {  // by Microsoft's compiler, and by others
        const std::wstring path =
            GetOurFolder() + prefix + std::wstring(name.begin(), name.end()) + L".dll";
        library = LoadLibraryExW(path.c_str(), nullptr,
                                 LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
        if (library != nullptr) {
            break;
        }
    }
    return library;
}

}  // namespace

SystemLibrary::SystemLibrary(const char* kind, const std::string& name, int /*version*/)
    : m_kind(kind), m_file("lib" + name + ".dll"), m_handle(Open(name)) {
    if (m_handle == nullptr) {
        ThrowUnusable(kind, m_file);
    }
}

void* SystemLibrary::Find(const char* functionName) const {
    const FARPROC function = GetProcAddress(static_cast<HMODULE>(m_handle), functionName);
    if (function == nullptr) {
        ThrowUnusable(m_kind, m_file);
    }
    return reinterpret_cast<void*>(function);
}

}  // namespace Raster
