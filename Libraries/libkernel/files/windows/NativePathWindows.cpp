#include "Kernel/IoException.h"
#include "Kernel/NativePath.h"

#include "files/windows/SystemPath.h"

#include <system_error>

namespace Kernel {

std::filesystem::path::string_type ToNativePath(const String& path) {
    try {
        return ToSystemPath(path);
    } catch (const std::system_error& error) {
        throw IoException("use", path, error.code());
    }
}

String FromNativePath(const std::filesystem::path::string_type& path) {
    return FromSystemPath(path);
}

}  // namespace Kernel
