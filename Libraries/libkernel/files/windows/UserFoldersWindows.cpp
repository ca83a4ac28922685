#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"

#include "files/windows/SystemPath.h"
#include "text/windows/WideText.h"

#include <windows.h>
#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>

#include <filesystem>
#include <memory>

namespace Kernel::FileSystem {

std::optional<String> GetUserCacheFolder() {
    // As the user's session has it, and whoever starts a program may change it for that.
    if (const auto named = GetEnv("LOCALAPPDATA")) {
        const std::wstring wide = ToWide(*named);
        // One on a share, too, which the standard library of MinGW does not take for absolute.
        if (wide.starts_with(LR"(\\)") || std::filesystem::path(wide).is_absolute()) {
            return FromSystemPath(wide);
        }
    }
    wchar_t* path = nullptr;
    const HRESULT result =
        SHGetKnownFolderPath(FOLDERID_LocalAppData, KF_FLAG_DEFAULT, nullptr, &path);
    const std::unique_ptr<wchar_t, decltype(&CoTaskMemFree)> owner(path, CoTaskMemFree);
    return SUCCEEDED(result) ? std::optional(FromSystemPath(path)) : std::nullopt;
}

std::optional<String> GetUserStateFolder() {
    return GetUserCacheFolder();
}

}  // namespace Kernel::FileSystem
