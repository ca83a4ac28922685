#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"

namespace Kernel::FileSystem {

std::optional<String> GetUserCacheFolder() {
    // A relative path is to be ignored: it would name another folder wherever the process starts.
    const auto isAbsolute = [](const std::optional<String>& path) {
        return path && std::string_view(*path).starts_with('/');
    };
    if (auto folder = GetEnv("XDG_CACHE_HOME"); isAbsolute(folder)) {
        return folder;
    }
    if (const auto home = GetEnv("HOME"); isAbsolute(home)) {
        return *home + "/.cache";
    }
    return std::nullopt;
}

}  // namespace Kernel::FileSystem
