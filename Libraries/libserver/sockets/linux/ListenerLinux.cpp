#include "content/posix/SystemError.h"
#include "sockets/Listener.h"
#include "sockets/linux/SocketAddress.h"
#include "sockets/linux/TcpSocket.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace Server {

namespace {

SocketAddress GetLocalAddress(const FileDescriptor& listener) {
    SocketAddress address;
    getsockname(listener.Get(), address.Get(), &address.size);
    return address;
}

FileDescriptor Listen(int family, int port) {
    FileDescriptor listener(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const SocketAddress address = MakeLoopbackAddress(family, port);
    const int yes = 1;  // take over from connections of the last run that still linger
    if (!listener.IsOpen() ||
        setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        bind(listener.Get(), address.Get(), address.size) != 0 ||
        listen(listener.Get(), SOMAXCONN) != 0) {
        const std::error_code reason(errno, std::generic_category());
        throw std::system_error(reason, "cannot listen on " + FormatAddress(address));
    }
    return listener;
}

bool IsWithoutIPv6(const std::system_error& error) {
    return error.code().value() == EAFNOSUPPORT || error.code().value() == EADDRNOTAVAIL;
}

std::vector<FileDescriptor> ListenOnBoth(int port) {
    for (int attempt = 0;; ++attempt) {
        std::vector<FileDescriptor> listeners;
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
            if (port != 0 || error.code().value() != EADDRINUSE || attempt == MaxAttempts) {
                throw;
            }
        }
    }
}

std::vector<FileDescriptor> Listen(Loopback loopback, int port) {
    if (loopback == Loopback::Both) {
        return ListenOnBoth(port);
    }
    std::vector<FileDescriptor> listeners;
    listeners.push_back(Listen(loopback == Loopback::IPv6 ? AF_INET6 : AF_INET, port));
    return listeners;
}

FileDescriptor MakeEvent() {
    FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event.IsOpen()) {
        ThrowSystemError("cannot start the server");
    }
    return event;
}

}  // namespace

struct Listener::State {
    std::vector<FileDescriptor> listeners;
    FileDescriptor stop;  // readable once stopping
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
    for (const FileDescriptor& listener : m_state->listeners) {
        addresses.push_back(FormatAddress(GetLocalAddress(listener)));
    }
    return addresses;
}

std::unique_ptr<Socket> Listener::Accept() {
    const auto& [listeners, stop, idle] = *m_state;
    std::vector<pollfd> watched{{stop.Get(), POLLIN, 0}};
    for (const FileDescriptor& listener : listeners) {
        watched.push_back({listener.Get(), POLLIN, 0});
    }
    for (;;) {
        poll(watched.data(), watched.size(), -1);
        if (watched[0].revents != 0) {
            return nullptr;
        }
        const auto ready = std::ranges::find_if(watched, &pollfd::revents);
        if (ready == watched.end()) {
            continue;
        }
        FileDescriptor connection(
            accept4(ready->fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (connection.IsOpen()) {
            return std::make_unique<TcpSocket>(std::move(connection), stop.Get(), idle);
        }
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
            poll(watched.data(), 1, 10);  // until some other connection has ended
        }
    }
}

void Listener::Stop() noexcept {
    eventfd_write(m_state->stop.Get(), 1);
}

}  // namespace Server
