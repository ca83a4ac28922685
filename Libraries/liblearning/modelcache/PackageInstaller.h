// Unpacking model packages, which come from a server and are not to be trusted.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/String.h"

#include <system_error>
#include <vector>

namespace Learning {

/// How many folders within each other a package may fill. What killed processes have left is looked
/// for as deep.
inline constexpr int MaximumFolderDepth = 16;

/// An entry of a package that could not be created.
struct SkippedEntry {
    Kernel::String name;
    Kernel::String reason;  // in one line
    std::error_code error;  // 0 if it is the package that is at fault
};

/// What came of a package.
struct InstalledPackage {
    /// Whether the entry called `name` is in its place.
    bool HasFile(const Kernel::String& name) const;
    /// Null if the entry called `name` was not skipped, or if there is none.
    const SkippedEntry* FindSkipped(const Kernel::String& name) const;

    std::vector<Kernel::String> files;
    std::vector<SkippedEntry> skipped;
};

/// Unpacks the ZIP archive at `packagePath` into `folder`, which ends in "/" or is empty: the
/// current folder.
///
/// An entry with data becomes a file, if the folder it belongs to is there; one without becomes a
/// folder. Each file is written beside its place; when all are, they are renamed into theirs, so
/// that at any moment the old one or the new one stands there, whole, and a model that is open
/// keeps its file. Entries that can't be created are skipped, with a line in the log: those that
/// are damaged or not of the size they declare, links and devices, and those whose names lead out
/// of `folder` or more than MaximumFolderDepth folders into it.
///
/// Throws Kernel::IoException, with no file touched, if the archive can't be read or can't be
/// honest: more entries or bytes than any model has, more than the disk has room for, or entries
/// that overlap.
///
/// Throws Kernel::Aborted, with the folder as it was, if `abort` is set before all entries are
/// unpacked.
InstalledPackage InstallPackage(const Kernel::String& packagePath, const Kernel::String& folder,
                                Kernel::AbortFlag abort = nullptr);

}  // namespace Learning
