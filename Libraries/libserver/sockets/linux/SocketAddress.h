// Addresses of sockets, IPv4 or IPv6.

#pragma once

#include <sys/socket.h>

#include <string>

namespace Server {

/// An address with its port.
struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;

    sockaddr* Get() noexcept { return reinterpret_cast<sockaddr*>(&storage); }
    const sockaddr* Get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// That of 127.0.0.1 or ::1, as `family` says.
SocketAddress MakeLoopbackAddress(int family, int port);

/// "127.0.0.1:80" or "[::1]:80".
std::string FormatAddress(const SocketAddress& address);

int GetPort(const SocketAddress& address) noexcept;

}  // namespace Server
