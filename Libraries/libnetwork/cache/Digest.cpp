#include "Network/Digest.h"

#include <openssl/evp.h>

#include <array>
#include <new>

namespace Network {

Kernel::String ComputeSha256(std::string_view text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::bad_alloc();
    }
    static constexpr std::string_view Digits = "0123456789abcdef";
    Kernel::String hexadecimal;
    hexadecimal.reserve(std::size_t{2} * size);
    for (unsigned int i = 0; i < size; ++i) {
        hexadecimal.push_back(Digits[digest[i] >> 4]);
        hexadecimal.push_back(Digits[digest[i] & 15]);
    }
    return hexadecimal;
}

}  // namespace Network
