// What errors of the system mean, in words.

#pragma once

#include "Kernel/String.h"

#include <system_error>

namespace Kernel {

/// The text of `error` in UTF-8, without a full stop.
String DescribeError(const std::error_code& error);

}  // namespace Kernel
