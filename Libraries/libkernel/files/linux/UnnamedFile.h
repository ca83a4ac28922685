// Files without a name, which vanish with the process that has them open.

#pragma once

#include "Kernel/String.h"

namespace Kernel {

/// A descriptor of a new file in `folder`, for writing; below 0 if the file system has no such
/// files, or the process couldn't name it later.
int OpenUnnamedFile(const String& folder) noexcept;

/// Gives the file a name, which must not exist yet. Returns 0, or -1 with the reason in errno.
int NameFile(int descriptor, const String& path);

}  // namespace Kernel
