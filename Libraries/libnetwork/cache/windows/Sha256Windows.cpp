#include "cache/Sha256.h"

#include <windows.h>
#include <bcrypt.h>

#include <memory>
#include <new>
#include <type_traits>

namespace Network {

namespace {

struct HashClose {
    void operator()(BCRYPT_HASH_HANDLE hash) const noexcept { BCryptDestroyHash(hash); }
};

struct AlgorithmClose {
    void operator()(BCRYPT_ALG_HANDLE algorithm) const noexcept {
        BCryptCloseAlgorithmProvider(algorithm, 0);
    }
};

void Check(NTSTATUS status) {
    if (status < 0) {
        throw std::bad_alloc();  // nothing else can be wrong
    }
}

}  // namespace

std::array<unsigned char, Sha256Size> ComputeSha256Bytes(std::string_view text) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    Check(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    const std::unique_ptr<void, AlgorithmClose> algorithmOwner(algorithm);
    BCRYPT_HASH_HANDLE hash = nullptr;
    Check(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0));
    const std::unique_ptr<void, HashClose> hashOwner(hash);
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view piece = rest.substr(0, std::size_t{1} << 30);
        Check(BCryptHashData(hash, reinterpret_cast<PUCHAR>(const_cast<char*>(piece.data())),
                             static_cast<ULONG>(piece.size()), 0));
        rest.remove_prefix(piece.size());
    }
    std::array<unsigned char, Sha256Size> digest{};
    Check(BCryptFinishHash(hash, digest.data(), digest.size(), 0));
    return digest;
}

}  // namespace Network
