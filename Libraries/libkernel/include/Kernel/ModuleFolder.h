// Where code lies that runs in this process.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

namespace Kernel {

/// The absolute folder of the module (shared library, DLL or program) that holds `address`, such as
/// that of a function, with the system's separator at its end. Throws IoException if `address` lies
/// in no module, or if its folder is unknown.
///
/// It does not depend on the current folder, nor on the way in which the module was named when it
/// was loaded.
KERNEL_API String GetModuleFolder(const void* address);

}  // namespace Kernel
