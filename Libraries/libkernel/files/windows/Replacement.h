// A file in the place of another one, at once.

#pragma once

#include <functional>
#include <string>
#include <system_error>

namespace Kernel {

/// Makes `attempt`, which returns an error of the system or 0, again and again while others hold
/// the file `path`, for up to two seconds. Returns its last error.
std::error_code RepeatWhileHeld(const std::wstring& path,
                                const std::function<unsigned long()>& attempt);

/// Renames the file `source` to `target`, over a file that is there, and flushes it to the disk.
/// Where the system can, those who have the old file open go on reading it; else it waits up to
/// two seconds for them. Returns what the system refuses.
std::error_code ReplaceFile(const std::wstring& source, const std::wstring& target);

}  // namespace Kernel
