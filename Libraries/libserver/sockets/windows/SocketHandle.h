// A socket of Windows with an owner.

#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <string>
#include <system_error>
#include <utility>

namespace Server {

/// Closes its socket when it dies.
class SocketHandle {
public:
    explicit SocketHandle(SOCKET socket = INVALID_SOCKET) noexcept : m_socket(socket) {}
    SocketHandle(SocketHandle&& other) noexcept
        : m_socket(std::exchange(other.m_socket, INVALID_SOCKET)) {}
    SocketHandle& operator=(SocketHandle&& other) noexcept {
        std::swap(m_socket, other.m_socket);
        return *this;
    }
    ~SocketHandle() { Close(); }

    void Close() noexcept {
        if (m_socket != INVALID_SOCKET) {
            closesocket(std::exchange(m_socket, INVALID_SOCKET));
        }
    }

    bool IsOpen() const noexcept { return m_socket != INVALID_SOCKET; }
    SOCKET Get() const noexcept { return m_socket; }

private:
    SOCKET m_socket;
};

/// An address with its port.
struct SocketAddress {
    sockaddr_storage storage{};
    int size = sizeof storage;

    sockaddr* Get() noexcept { return reinterpret_cast<sockaddr*>(&storage); }
    const sockaddr* Get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// That of 127.0.0.1 or ::1, as `family` says.
SocketAddress MakeLoopbackAddress(int family, int port);
SocketAddress GetLocalAddress(const SocketHandle& socket);
/// "127.0.0.1:80" or "[::1]:80".
std::string FormatAddress(const SocketAddress& address);
int GetPort(const SocketAddress& address) noexcept;

/// A socket that blocks nobody and that programs which this one starts do not inherit.
SocketHandle MakeSocket(int family, int type);
void StopBlocking(const SocketHandle& socket) noexcept;

/// What the last call on a socket has failed with.
inline std::error_code GetSocketError() noexcept {
    return {WSAGetLastError(), std::system_category()};
}

}  // namespace Server
