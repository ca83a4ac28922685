#include "files/linux/UnnamedFile.h"

#include "Kernel/Format.h"

#include <fcntl.h>
#include <unistd.h>

namespace Kernel {

namespace {

constexpr const char* Descriptors = "/proc/self/fd";  // through which a file gets its name

}  // namespace

int OpenUnnamedFile(const String& folder) noexcept {
    return access(Descriptors, X_OK) == 0
               ? open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666)
               : -1;
}

int NameFile(int descriptor, const String& path) {
    const String source = Format("%1/%2", Descriptors, descriptor);
    return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW);
}

}  // namespace Kernel
