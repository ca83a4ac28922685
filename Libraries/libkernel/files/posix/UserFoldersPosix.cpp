#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"

namespace Kernel::FileSystem {

std::optional<String> GetUserCacheFolder() {
    if (auto folder = GetEnv("XDG_CACHE_HOME"); folder && !folder->empty()) {
        return folder;
    }
    if (const auto home = GetEnv("HOME"); home && !home->empty()) {
        return *home + "/.cache";
    }
    return std::nullopt;
}

}  // namespace Kernel::FileSystem
