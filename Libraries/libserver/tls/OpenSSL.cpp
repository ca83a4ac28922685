#include "Server/OpenSSL.h"

#include <openssl/err.h>

#include <stdexcept>

namespace Server {

std::string TakeOpenSSLError() {
    const char* const reason = ERR_reason_error_string(ERR_peek_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "unknown reason";
}

void CheckOpenSSL(bool isDone, const char* action) {
    if (!isDone) {
        throw std::runtime_error(std::string("cannot ") + action + ": " + TakeOpenSSLError());
    }
}

}  // namespace Server
