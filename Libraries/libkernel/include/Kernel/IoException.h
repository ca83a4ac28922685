// The failure of an operation on a file or stream.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <stdexcept>

namespace Kernel {

/// Thrown by streams. what() is one line of UTF-8 that names the file, if there is one, and the
/// reason.
class KERNEL_API IoException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// "cannot ACTION PATH: REASON", with the reason that the system gives for error `code` (errno
    /// on POSIX systems).
    IoException(const char* action, const String& path, int code);
    ~IoException() override;
};

}  // namespace Kernel
