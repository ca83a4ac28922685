#include "cache/Sha256.h"

#include <openssl/evp.h>

#include <new>

namespace Network {

std::array<unsigned char, Sha256Size> ComputeSha256Bytes(std::string_view text) {
    std::array<unsigned char, Sha256Size> digest{};
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::bad_alloc();
    }
    return digest;
}

}  // namespace Network
