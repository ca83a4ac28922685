// Unpacking model packages, which come from a server and are not to be trusted.

#pragma once

#include "Kernel/String.h"

namespace Learning {

/// Unpacks the ZIP archive at `packagePath` into `folder`, which ends in "/" or is empty: the
/// current folder.
///
/// An entry with data becomes a file, if the folder it belongs to is there; one without becomes a
/// folder. Each file is written beside its place and renamed into it, so that at any moment the old
/// one or the new one stands there, whole, and a model that is open keeps its file. Entries that
/// can't be created are skipped: those that are damaged or not of the size they declare, links and
/// devices, and those whose names lead out of `folder`.
///
/// Throws Kernel::IoException, with no file touched, if the archive can't be read or can't be
/// honest: more entries or bytes than any model has, more than the disk has room for, or entries
/// that overlap.
void InstallPackage(const Kernel::String& packagePath, const Kernel::String& folder);

}  // namespace Learning
