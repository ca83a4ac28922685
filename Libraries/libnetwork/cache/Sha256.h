// Digests as bytes, by OpenSSL or by Windows.

#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Network {

inline constexpr std::size_t Sha256Size = 32;

/// The SHA-256 digest of `text`. Throws std::bad_alloc if there is no memory.
std::array<unsigned char, Sha256Size> ComputeSha256Bytes(std::string_view text);

}  // namespace Network
