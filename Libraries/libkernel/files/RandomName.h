// Names for files that must not meet any other.

#pragma once

#include "Kernel/String.h"

namespace Kernel {

/// FileSystem::TemporaryFilePrefix and 80 random bits as letters and digits: two processes never
/// meet by chance, and none can guess.
String MakeRandomName();

}  // namespace Kernel
