#include "files/linux/AccessList.h"

#include <sys/xattr.h>

#include <cerrno>
#include <cstddef>
#include <vector>

namespace Kernel {

namespace {

constexpr const char* AccessList = "system.posix_acl_access";
constexpr std::size_t MaximumSize = 65536;  // of an extended attribute, as Linux has it

bool IsNone(int error) noexcept {
    return error == ENODATA || error == ENOTSUP;
}

}  // namespace

int CopyAccessList(const String& path, int descriptor) {
    std::vector<std::byte> list(MaximumSize);
    const ssize_t size = getxattr(path.c_str(), AccessList, list.data(), list.size());
    if (size >= 0) {
        return fsetxattr(descriptor, AccessList, list.data(), static_cast<std::size_t>(size), 0);
    }
    if (!IsNone(errno)) {
        return -1;
    }
    // One may come from the folder.
    return fremovexattr(descriptor, AccessList) == 0 || IsNone(errno) ? 0 : -1;
}

}  // namespace Kernel
