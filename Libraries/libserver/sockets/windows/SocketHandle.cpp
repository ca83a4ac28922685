#include "sockets/windows/SocketHandle.h"

#include <array>
#include <cstdint>

namespace Server {

SocketAddress MakeLoopbackAddress(int family, int port) {
    SocketAddress address;
    const auto portOnTheWire = htons(static_cast<std::uint16_t>(port));
    if (family == AF_INET6) {
        auto& of6 = reinterpret_cast<sockaddr_in6&>(address.storage);
        of6.sin6_family = AF_INET6;
        of6.sin6_addr.s6_addr[15] = 1;
        of6.sin6_port = portOnTheWire;
        address.size = sizeof of6;
    } else {
        auto& of4 = reinterpret_cast<sockaddr_in&>(address.storage);
        of4.sin_family = AF_INET;
        of4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        of4.sin_port = portOnTheWire;
        address.size = sizeof of4;
    }
    return address;
}

SocketAddress GetLocalAddress(const SocketHandle& socket) {
    SocketAddress address;
    getsockname(socket.Get(), address.Get(), &address.size);
    return address;
}

std::string FormatAddress(const SocketAddress& address) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (getnameinfo(address.Get(), address.size, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "unknown";
    }
    const std::string name = host.data();
    return (address.storage.ss_family == AF_INET6 ? "[" + name + "]" : name) + ":" + port.data();
}

int GetPort(const SocketAddress& address) noexcept {
    return ntohs(address.storage.ss_family == AF_INET6
                     ? reinterpret_cast<const sockaddr_in6&>(address.storage).sin6_port
                     : reinterpret_cast<const sockaddr_in&>(address.storage).sin_port);
}

SocketHandle MakeSocket(int family, int type) {
    static const int started = [] {
        WSADATA data{};
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (started != 0) {
        throw std::system_error(started, std::system_category(), "there are no sockets");
    }
    SocketHandle made(
        WSASocketW(family, type, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
    if (made.IsOpen()) {
        StopBlocking(made);
    }
    return made;
}

void StopBlocking(const SocketHandle& socket) noexcept {
    u_long yes = 1;
    ioctlsocket(socket.Get(), FIONBIO, &yes);
}

}  // namespace Server
