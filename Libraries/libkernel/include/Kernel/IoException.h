// The failure of an operation on a file or stream.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <stdexcept>
#include <system_error>

namespace Kernel {

/// Thrown by streams and files. what() is one line of UTF-8: the path, if any, and the reason.
class KERNEL_API IoException : public std::runtime_error {
public:
    /// A failure that is not the system's, such as damaged data.
    using std::runtime_error::runtime_error;

    /// "cannot ACTION PATH: REASON", with the text of `code` as the reason.
    IoException(const char* action, const String& path, std::error_code code);
    /// For a folder, a pipe or a device in the place of a file that is to be read.
    static IoException ForOtherThanFile(const String& path);
    ~IoException() override;

    /// The system's error; 0 for a failure that is not the system's.
    const std::error_code& GetCode() const noexcept { return m_code; }

private:
    std::error_code m_code;
};

/// Whether `error` says that the disk is full, or the user's share of it.
KERNEL_API bool IsSpaceShort(const std::error_code& error) noexcept;

/// What `error` means, in one line of UTF-8 without a full stop. The text of its own category may
/// be in another encoding.
KERNEL_API String DescribeError(const std::error_code& error);

}  // namespace Kernel
