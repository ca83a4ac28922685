#include "Network/Digest.h"

#include "cache/Sha256.h"

namespace Network {

Kernel::String ComputeSha256(std::string_view text) {
    static constexpr std::string_view Digits = "0123456789abcdef";
    Kernel::String hexadecimal;
    hexadecimal.reserve(2 * Sha256Size);
    for (const unsigned char byte : ComputeSha256Bytes(text)) {
        hexadecimal.push_back(Digits[byte >> 4]);
        hexadecimal.push_back(Digits[byte & 15]);
    }
    return hexadecimal;
}

}  // namespace Network
