#include "curl/Curl.h"

#include <system_error>

namespace Network {

curl_socket_t OpenSocket(const curl_sockaddr& address) {
    const SOCKET opened = WSASocketW(address.family, address.socktype, address.protocol, nullptr, 0,
                                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    const int error = WSAGetLastError();
    if (opened == INVALID_SOCKET && (error == WSAEMFILE || error == WSAENOBUFS)) {
        throw std::system_error(error, std::system_category(), "no connection can be opened");
    }
    return opened;
}

}  // namespace Network
