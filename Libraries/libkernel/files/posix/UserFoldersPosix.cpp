#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"

namespace Kernel::FileSystem {

namespace {

/// What the environment variable `name` says, else `place` below the user's own folder.
std::optional<String> FindFolder(const char* name, const char* place) {
    // A relative path is to be ignored: it would name another folder wherever the process starts.
    const auto isAbsolute = [](const std::optional<String>& path) {
        return path && std::string_view(*path).starts_with('/');
    };
    if (auto folder = GetEnv(name); isAbsolute(folder)) {
        return folder;
    }
    if (const auto home = GetEnv("HOME"); isAbsolute(home)) {
        return *home + place;
    }
    return std::nullopt;
}

}  // namespace

std::optional<String> GetUserCacheFolder() {
    return FindFolder("XDG_CACHE_HOME", "/.cache");
}

std::optional<String> GetUserStateFolder() {
    return FindFolder("XDG_STATE_HOME", "/.local/state");
}

}  // namespace Kernel::FileSystem
