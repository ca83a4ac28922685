// Memory of the process as a whole.

#pragma once

#include "Kernel/Export.h"

namespace Kernel {

/// Gives memory that has been freed back to the system, as far as the C library can: it keeps what
/// it expects to need again, which after large work may be hundreds of megabytes. Takes some
/// milliseconds.
KERNEL_API void ReturnFreeMemory() noexcept;

}  // namespace Kernel
