// Files and folders by name. Paths are UTF-8 on every system.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <string_view>

namespace Kernel::FileSystem {

// Links are followed by Exists() alone; deleting one deletes the link.

/// Whether there is a file or folder at `path`; false also if that can't be found out.
KERNEL_API bool Exists(const String& path) noexcept;

/// Deletes a file or an empty folder. Whether there is nothing at `path` any more.
KERNEL_API bool Delete(const String& path) noexcept;

/// Deletes a file, or a folder with all that is in it. Whether there is nothing at `path` any more.
KERNEL_API bool DeleteAll(const String& path) noexcept;

/// Creates the folder `path` and those above it that are missing. Whether it is there now.
KERNEL_API bool CreateDirectoryRecursive(const String& path) noexcept;

/// Creates a new, empty file in the folder for temporary files, for the current user alone, and
/// returns its path. Its name is `pattern` with "%1" replaced by TemporaryFilePrefix and random
/// letters and digits. Throws IoException if no file can be created.
[[nodiscard]] KERNEL_API String GetUniqueTemporaryFilename(const String& pattern);

/// How the names of this library's temporary files start.
inline constexpr std::string_view TemporaryFilePrefix = "orvantis-";

}  // namespace Kernel::FileSystem
