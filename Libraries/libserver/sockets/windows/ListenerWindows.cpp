#include "sockets/Listener.h"
#include "sockets/windows/TcpSocket.h"

#include <algorithm>

namespace Server {

namespace {

SocketHandle Listen(int family, int port) {
    SocketHandle listener = MakeSocket(family, SOCK_STREAM);
    const SocketAddress address = MakeLoopbackAddress(family, port);
    const BOOL yes = TRUE;  // else another program could take over the port
    if (!listener.IsOpen() ||
        setsockopt(listener.Get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                   reinterpret_cast<const char*>(&yes), sizeof yes) != 0 ||
        bind(listener.Get(), address.Get(), address.size) != 0 ||
        listen(listener.Get(), SOMAXCONN) != 0) {
        const std::error_code reason = GetSocketError();
        throw std::system_error(reason, "cannot listen on " + FormatAddress(address));
    }
    return listener;
}

bool IsWithoutIPv6(const std::system_error& error) {
    return error.code().value() == WSAEAFNOSUPPORT || error.code().value() == WSAEADDRNOTAVAIL;
}

std::vector<SocketHandle> ListenOnBoth(int port) {
    for (int attempt = 0;; ++attempt) {
        std::vector<SocketHandle> listeners;
        listeners.push_back(Listen(AF_INET, port));
        try {
            listeners.push_back(Listen(AF_INET6, GetPort(GetLocalAddress(listeners[0]))));
            return listeners;
        } catch (const std::system_error& error) {
            if (IsWithoutIPv6(error)) {
                return listeners;
            }
            // A port that is free for the one may be taken for the other.
            constexpr int MaxAttempts = 20;
            if (port != 0 || error.code().value() != WSAEADDRINUSE || attempt == MaxAttempts) {
                throw;
            }
        }
    }
}

std::vector<SocketHandle> Listen(Loopback loopback, int port) {
    if (loopback == Loopback::Both) {
        return ListenOnBoth(port);
    }
    std::vector<SocketHandle> listeners;
    listeners.push_back(Listen(loopback == Loopback::IPv6 ? AF_INET6 : AF_INET, port));
    return listeners;
}

/// A socket that is connected to itself: readable once something has been sent on it.
SocketHandle MakeEvent() {
    SocketHandle event = MakeSocket(AF_INET, SOCK_DGRAM);
    SocketAddress address = MakeLoopbackAddress(AF_INET, 0);
    if (!event.IsOpen() || bind(event.Get(), address.Get(), address.size) != 0 ||
        connect(event.Get(), (address = GetLocalAddress(event)).Get(), address.size) != 0) {
        throw std::system_error(GetSocketError(), "cannot start the server");
    }
    return event;
}

}  // namespace

struct Listener::State {
    std::vector<SocketHandle> listeners;
    SocketHandle stop;  // readable once stopping
    std::chrono::milliseconds idle;
};

Listener::Listener(Loopback loopback, int port, std::chrono::milliseconds idle)
    : m_state(std::make_unique<State>(State{Listen(loopback, port), MakeEvent(), idle})) {}

Listener::~Listener() = default;

int Listener::GetPort() const noexcept {
    return Server::GetPort(GetLocalAddress(m_state->listeners.front()));
}

std::vector<std::string> Listener::GetAddresses() const {
    std::vector<std::string> addresses;
    for (const SocketHandle& listener : m_state->listeners) {
        addresses.push_back(FormatAddress(GetLocalAddress(listener)));
    }
    return addresses;
}

std::unique_ptr<Socket> Listener::Accept() {
    const auto& [listeners, stop, idle] = *m_state;
    std::vector<WSAPOLLFD> watched{{stop.Get(), POLLRDNORM, 0}};
    for (const SocketHandle& listener : listeners) {
        watched.push_back({listener.Get(), POLLRDNORM, 0});
    }
    for (;;) {
        WSAPoll(watched.data(), static_cast<ULONG>(watched.size()), -1);
        if (watched[0].revents != 0) {
            return nullptr;
        }
        const auto ready = std::ranges::find_if(watched, &WSAPOLLFD::revents);
        if (ready == watched.end()) {
            continue;
        }
        SocketHandle connection(accept(ready->fd, nullptr, nullptr));
        if (connection.IsOpen()) {
            StopBlocking(connection);
            return std::make_unique<TcpSocket>(std::move(connection), stop.Get(), idle);
        }
        if (WSAGetLastError() == WSAEMFILE || WSAGetLastError() == WSAENOBUFS) {
            WSAPoll(watched.data(), 1, 10);  // until some other connection has ended
        }
    }
}

void Listener::Stop() noexcept {
    send(m_state->stop.Get(), "", 1, 0);
}

}  // namespace Server
