// Reading of base64 text (RFC 4648).

#pragma once

#include "Kernel/Export.h"

#include <optional>
#include <string>
#include <string_view>

namespace Kernel {

/// The bytes that `text` stands for; nothing unless it is of the standard alphabet alone, padded to
/// groups of four, and the only text for its bytes.
KERNEL_API std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace Kernel
