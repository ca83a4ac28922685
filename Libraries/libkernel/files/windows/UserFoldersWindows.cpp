#include "Kernel/FileSystem.h"

#include "files/windows/SystemPath.h"

#include <windows.h>
#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>

#include <memory>

namespace Kernel::FileSystem {

std::optional<String> GetUserCacheFolder() {
    wchar_t* path = nullptr;
    const HRESULT result =
        SHGetKnownFolderPath(FOLDERID_LocalAppData, KF_FLAG_DEFAULT, nullptr, &path);
    const std::unique_ptr<wchar_t, decltype(&CoTaskMemFree)> owner(path, CoTaskMemFree);
    return SUCCEEDED(result) ? std::optional(FromSystemPath(path)) : std::nullopt;
}

}  // namespace Kernel::FileSystem
