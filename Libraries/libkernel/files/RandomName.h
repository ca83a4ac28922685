// Unique names for temporary files.

#pragma once

#include "Kernel/String.h"

#include <string_view>

namespace Kernel {

/// FileSystem::TemporaryFilePrefix and 80 random bits as letters and digits: collisions are
/// improbable, and the name can't be guessed.
String MakeRandomName();

/// Whether `fileName` is such a name followed by an extension.
bool IsRandomName(std::string_view fileName) noexcept;

}  // namespace Kernel
