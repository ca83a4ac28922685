// Cryptographic digests (OpenSSL).

#pragma once

#include "Kernel/String.h"

#include <string_view>

namespace Network {

/// The SHA-256 digest of `text` as 64 lower-case hexadecimal digits.
Kernel::String ComputeSha256(std::string_view text);

}  // namespace Network
