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

/// What a file gets that its owner alone may use, whatever its folder allows.
class OwnerOnly {
public:
    enum class Heirs { None, Content };  // whether what a folder holds gets the same

    /// Throws std::system_error if the system fails.
    explicit OwnerOnly(Heirs heirs = Heirs::None);

    /// For the creation of a file.
    SECURITY_ATTRIBUTES* Get() noexcept { return &m_attributes; }
    /// Gives it to the open file or folder, and returns what the system refuses.
    std::error_code SetFor(HANDLE file) const;

private:
    SecurityDescriptor m_descriptor;
    SECURITY_ATTRIBUTES m_attributes{};
};

/// Whether `descriptor` lets nobody read or write, or change who may, but its owner, `user`, the
/// system and the administrators. One without a list lets everybody.
bool AllowsOwnerOnly(PSECURITY_DESCRIPTOR descriptor, PSID user);

/// The same for an open file or folder and the user of this process. Throws std::system_error if
/// the system does not tell.
bool AllowsOwnerOnly(HANDLE file);

/// Gives the open `file` the owner, the group, the access control list and the attributes of the
/// one at `path`. Returns what the system refuses, also if that one may not be written. File
/// systems that know no owners have nothing to copy.
std::error_code CopySecurity(const std::wstring& path, HANDLE file);

}  // namespace Kernel
