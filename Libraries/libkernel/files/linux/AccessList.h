// Access control lists of files, which permit more than the mode can tell.

#pragma once

#include "Kernel/String.h"

namespace Kernel {

/// Gives the open file the list of the file at `path`, or none if that has none or the file system
/// knows none. Returns 0, or -1 with the reason in errno. May change the mode.
int CopyAccessList(const String& path, int descriptor);

}  // namespace Kernel
