// Paths as text.

#pragma once

#include <string_view>

namespace Kernel {

/// What names the folder that `path` is in: all up to its last separator, with that; empty for a
/// name alone.
std::string_view GetFolderPart(std::string_view path) noexcept;

}  // namespace Kernel
