#include "Kernel/IoException.h"
#include "Kernel/NativePath.h"
#include "Kernel/Utf.h"

namespace Kernel {

std::filesystem::path::string_type ToNativePath(const String& path) {
    if (HasZeroByte(path)) {
        throw IoException("use", path, std::make_error_code(std::errc::invalid_argument));
    }
    return path.c_str();
}

String FromNativePath(const std::filesystem::path::string_type& path) {
    return {path.data(), path.size()};
}

}  // namespace Kernel
