// Windows has no libraries for pictures of this kind: they come with ours, and lie beside it. They
// are looked for nowhere else, since a file of that name in another folder may be anybody's.

#include "Kernel/IoException.h"
#include "Kernel/ModuleFolder.h"
#include "Kernel/NativePath.h"
#include "Raster/CodecException.h"

#include "codecs/SystemLibrary.h"

#include <windows.h>

#include <string>
#include <system_error>

namespace Raster {

namespace {

[[noreturn]] void ThrowUnusable(const char* kind, const std::string& file, const char* reason) {
    throw CodecException(std::string(kind) + " pictures can't be read without the library " + file +
                         ": " + reason);
}

Kernel::String DescribeError(DWORD error) {
    return Kernel::DescribeError({static_cast<int>(error), std::system_category()});
}

/// Throws Kernel::IoException if our folder is unknown.
HMODULE Open(const std::string& name) {
    const Kernel::String folder = Kernel::GetModuleFolder(reinterpret_cast<const void*>(&Open));
    HMODULE library = nullptr;
    for (const char* const prefix : {"", "lib"}) {  // by Microsoft's compiler, and by others
        const std::wstring path = Kernel::ToNativePath(folder + prefix + name + ".dll");
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
    : m_kind(kind), m_file("lib" + name + ".dll") {
    try {
        m_handle = Open(name);
    } catch (const Kernel::IoException& error) {
        ThrowUnusable(kind, m_file, error.what());
    }
    if (m_handle == nullptr) {
        ThrowUnusable(kind, m_file, DescribeError(GetLastError()).c_str());
    }
}

void* SystemLibrary::Find(const char* functionName) const {
    const FARPROC function = GetProcAddress(static_cast<HMODULE>(m_handle), functionName);
    if (function == nullptr) {
        ThrowUnusable(m_kind, m_file, DescribeError(GetLastError()).c_str());
    }
    return reinterpret_cast<void*>(function);
}

}  // namespace Raster
