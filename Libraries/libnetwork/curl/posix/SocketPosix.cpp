#include "curl/Curl.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace Network {

curl_socket_t OpenSocket(const curl_sockaddr& address) {
    const int descriptor =
        socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
    const bool isExhausted =
        errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
    if (descriptor < 0 && isExhausted) {
        throw std::system_error(errno, std::generic_category(), "no connection can be opened");
    }
    return descriptor < 0 ? CURL_SOCKET_BAD : descriptor;
}

}  // namespace Network
