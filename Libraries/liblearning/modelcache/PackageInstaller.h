// Unpacking model packages, which come from a server and are not to be trusted.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/String.h"

namespace Learning {

/// How many folders within each other a package may fill. What killed processes have left is looked
/// for as deep.
inline constexpr int MaximumFolderDepth = 16;

/// Unpacks the ZIP archive at `packagePath` into `folder`, which ends in "/" or is empty: the
/// current folder.
///
/// An entry with data becomes a file, if the folder it belongs to is there; one without becomes a
/// folder. Each file is written beside its place; when all are, they are renamed into theirs, so
/// that at any moment the old one or the new one stands there, whole, and a model that is open
/// keeps its file. Entries that can't be created are skipped: those that are damaged or not of the
/// size they declare, links and devices, and those whose names lead out of `folder` or more than
/// MaximumFolderDepth folders into it.
///
/// Throws Kernel::IoException, with no file touched, if the archive can't be read or can't be
/// honest: more entries or bytes than any model has, more than the disk has room for, or entries
/// that overlap.
///
/// Throws Kernel::Aborted, with the folder as it was, if `abort` is set before all entries are
/// unpacked.
void InstallPackage(const Kernel::String& packagePath, const Kernel::String& folder,
                    Kernel::AbortFlag abort = nullptr);

}  // namespace Learning
