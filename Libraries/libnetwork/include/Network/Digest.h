// Cryptographic digests.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

#include <string_view>

namespace Network {

/// The SHA-256 digest (FIPS 180-4) of the bytes of `text` as 64 lower-case hexadecimal digits.
NETWORK_API Kernel::String ComputeSha256(std::string_view text);

}  // namespace Network
