// Files and folders by name. Paths are UTF-8 on every system.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace Kernel::FileSystem {

// Links are followed by Exists() alone; deleting one deletes the link.

/// Whether there is a file or folder at `path`; false also if that can't be found out.
KERNEL_API bool Exists(const String& path) noexcept;

/// Deletes a file or an empty folder. Whether there is nothing at `path` any more.
KERNEL_API bool Delete(const String& path) noexcept;

/// Deletes a file, or a folder with all that is in it. Whether there is nothing at `path` any more.
KERNEL_API bool DeleteAll(const String& path) noexcept;

/// Deletes a folder that holds nothing, and nothing else. Whether it did.
KERNEL_API bool DeleteEmptyFolder(const String& path) noexcept;

/// Creates the folder `path` and those above it that are missing. Whether it is there now.
KERNEL_API bool CreateDirectoryRecursive(const String& path) noexcept;

/// `path` made absolute, without links, "." and "..". What of it is not there is taken as it is
/// written. Throws IoException if that can't be found out.
KERNEL_API String GetCanonicalPath(const String& path);

/// How many bytes this process may still write to the disk of `folder`; the largest number if that
/// can't be found out.
KERNEL_API std::uint64_t GetFreeSpace(const String& folder) noexcept;

/// The folder for temporary files. Throws IoException if there is none.
KERNEL_API String GetTemporaryFolder();

/// The current user's folder for what can be had again, such as downloads; nothing if the system
/// names none. On POSIX systems $XDG_CACHE_HOME, else $HOME/.cache (XDG Base Directory).
KERNEL_API std::optional<String> GetUserCacheFolder();

/// Deletes the files in `folder` that this library has named with random letters, and that nobody
/// has written to for two days: what processes left behind that did not come to their end.
KERNEL_API void DeleteAbandonedFiles(const String& folder) noexcept;

/// Creates a new, empty file in the folder for temporary files, for the current user alone, and
/// returns its path. Its name is `pattern` with "%1" replaced by TemporaryFilePrefix and random
/// letters and digits. Throws IoException if no file can be created.
[[nodiscard]] KERNEL_API String GetUniqueTemporaryFilename(const String& pattern);

/// How the names of this library's temporary files start.
inline constexpr std::string_view TemporaryFilePrefix = "orvantis-";

}  // namespace Kernel::FileSystem
