#include "sockets/linux/SocketAddress.h"

#include <netdb.h>
#include <netinet/in.h>

#include <array>

namespace Server {

SocketAddress MakeLoopbackAddress(int family, int port) {
    SocketAddress address;
    const auto portOnTheWire = htons(static_cast<std::uint16_t>(port));
    if (family == AF_INET6) {
        auto& of6 = reinterpret_cast<sockaddr_in6&>(address.storage);
        of6.sin6_family = AF_INET6;
        of6.sin6_addr = in6addr_loopback;
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

}  // namespace Server
