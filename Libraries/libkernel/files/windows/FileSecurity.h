// Who may do what with a file: owners and access control lists of Windows.

#pragma once

#include "files/windows/SystemHandle.h"

#include <string>
#include <system_error>

namespace Kernel {

struct LocalMemoryFree {
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};

/// A security descriptor that a function of the system has made.
using SecurityDescriptor = std::unique_ptr<void, LocalMemoryFree>;

/// What a new file gets that its owner alone may use, whatever its folder allows.
class OwnerOnly {
public:
    /// Throws std::system_error if the system fails.
    OwnerOnly();

    SECURITY_ATTRIBUTES* Get() noexcept { return &m_attributes; }

private:
    SecurityDescriptor m_descriptor;
    SECURITY_ATTRIBUTES m_attributes{};
};

/// Gives the open `file` the owner, the group, the access control list and the attributes of the
/// one at `path`. Returns what the system refuses, also if that one may not be written. File
/// systems that know no owners have nothing to copy.
std::error_code CopySecurity(const std::wstring& path, HANDLE file);

}  // namespace Kernel
