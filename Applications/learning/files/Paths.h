// Paths, which are UTF-8, and those of the standard library, which on Windows are UTF-16.

#pragma once

#include <filesystem>
#include <string>

namespace LearningApp {

/// `path` for the standard library, as Kernel::ToNativePath() has it, which may throw.
std::filesystem::path ToPath(const std::string& path);

/// The other way, with '/' on every system.
std::string FromPath(const std::filesystem::path& path);

/// Whether a folder stands at `path`, links followed. On Windows std::filesystem by MinGW finds
/// nothing at long paths.
bool IsFolder(const std::string& path);

/// Whether `c` separates names in paths.
inline bool IsSeparator(char c) noexcept {
    return c == '/' || c == std::filesystem::path::preferred_separator;
}

}  // namespace LearningApp
