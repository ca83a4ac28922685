// Paths as Windows takes them, and what stands at them.

#pragma once

#include "Kernel/String.h"

#include <string>
#include <string_view>

namespace Kernel {

/// `path` in UTF-16. One that is too long for most functions of the system becomes absolute, in the
/// form that has no limit. Throws std::system_error if it has a zero byte or is no UTF-8: it would
/// name another file.
std::wstring ToSystemPath(const String& path);

/// The same with '\\' and without "." and "..": absolute, and in the form that has no limit.
std::wstring MakeUnlimited(const std::wstring& path);

/// `path` in UTF-8 and with '/', without the mark of the form that has no limit.
String FromSystemPath(std::wstring_view path);

/// What is known of a name without following it.
struct PathState {
    bool isThere = false;
    bool isFolder = false;  // or a link to one
    bool isLink = false;    // a symbolic link or a junction
    bool isReadOnly = false;
};

/// The state of `path`; throws std::system_error if that can't be determined.
PathState GetPathState(const std::wstring& path);

}  // namespace Kernel
