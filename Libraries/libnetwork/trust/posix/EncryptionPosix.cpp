#include "trust/Encryption.h"

#include <openssl/crypto.h>
#include <openssl/ssl.h>

#include <string_view>

namespace Network {

void PrepareEncryption() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

bool SpeaksHttp2(const void* connection) noexcept {
    if (connection == nullptr) {
        return false;
    }
    const unsigned char* name = nullptr;
    unsigned int size = 0;
    SSL_get0_alpn_selected(static_cast<const SSL*>(connection), &name, &size);
    return std::string_view(reinterpret_cast<const char*>(name), size) == "h2";
}

bool HasUnread(const void* connection) noexcept {
    return connection != nullptr && SSL_has_pending(static_cast<const SSL*>(connection)) == 1;
}

}  // namespace Network
