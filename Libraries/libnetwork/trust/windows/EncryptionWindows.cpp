#include "trust/Encryption.h"

namespace Network {

void PrepareEncryption() {}

bool SpeaksHttp2(const void* /*connection*/) noexcept {
    return false;  // libcurl for Windows is built without it
}

bool HasUnread(const void* connection) noexcept {
    // What libcurl has decrypted is in buffers of its own, which nobody can look into. So a session
    // keeps no encrypted connection.
    return connection != nullptr;
}

}  // namespace Network
