// Paths for interfaces that take them as the system does.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <filesystem>

namespace Kernel {

/// The bytes of `path`, or UTF-16 on Windows, where a path that is too long for most functions of
/// the system becomes absolute, in the form that has no limit. Throws IoException for what would
/// name another file: a path with a zero byte, and on Windows one that is no UTF-8.
KERNEL_API std::filesystem::path::string_type ToNativePath(const String& path);

/// The reverse, with '/' between folders and without the mark of that form. Units of UTF-16 that
/// are no text become U+FFFD.
KERNEL_API String FromNativePath(const std::filesystem::path::string_type& path);

}  // namespace Kernel
