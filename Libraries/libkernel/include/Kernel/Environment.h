// Environment variables of the process.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <optional>

namespace Kernel {

/// The value of the environment variable `name`, which may be empty; std::nullopt if it is not set.
/// Threads: as for std::getenv, no thread may change the environment at the same time.
KERNEL_API std::optional<String> GetEnv(const String& name);

}  // namespace Kernel
