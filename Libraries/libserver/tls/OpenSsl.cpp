#include "Server/OpenSsl.h"

#include <openssl/err.h>

#include <stdexcept>

namespace Server {

std::string TakeOpenSslError() {
    const char* const reason = ERR_reason_error_string(ERR_peek_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "unknown reason";
}

void CheckOpenSsl(bool isDone, const char* action) {
    if (!isDone) {
        throw std::runtime_error(std::string("cannot ") + action + ": " + TakeOpenSslError());
    }
}

}  // namespace Server
