// Names for files that must not meet any other.

#pragma once

#include "Kernel/String.h"

#include <string_view>

namespace Kernel {

/// FileSystem::TemporaryFilePrefix and 80 random bits as letters and digits: two processes never
/// meet by chance, and none can guess.
String MakeRandomName();

/// Whether `fileName` is such a name, followed by an extension.
bool IsRandomName(std::string_view fileName) noexcept;

}  // namespace Kernel
