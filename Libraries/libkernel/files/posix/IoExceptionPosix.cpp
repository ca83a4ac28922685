#include "Kernel/IoException.h"

#include <cerrno>

namespace Kernel {

bool IsSpaceShort(const std::error_code& error) noexcept {
    // Of quotas std::errc does not know.
    return error == std::errc::no_space_on_device ||
           error == std::error_code(EDQUOT, std::system_category()) ||
           error == std::error_code(EDQUOT, std::generic_category());
}

String DescribeError(const std::error_code& error) {
    return error.message();
}

}  // namespace Kernel
