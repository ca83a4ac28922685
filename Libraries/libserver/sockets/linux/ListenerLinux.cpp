#include "content/posix/SystemError.h"
#include "sockets/Listener.h"
#include "sockets/linux/TcpSocket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>

namespace Server {

namespace {

FileDescriptor Listen(int port) {
    FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int yes = 1;  // take over from connections of the last run that still linger
    setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const int bound =
        bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (bound != 0 || listen(listener.Get(), SOMAXCONN) != 0) {
        ThrowSystemError("cannot listen on port " + std::to_string(port));
    }
    return listener;
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
    FileDescriptor listener;
    FileDescriptor stop;  // readable once stopping
    std::chrono::milliseconds idle;
};

Listener::Listener(int port, std::chrono::milliseconds idle)
    : m_state(std::make_unique<State>(State{Listen(port), MakeEvent(), idle})) {}

Listener::~Listener() = default;

int Listener::GetPort() const noexcept {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(m_state->listener.Get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

std::unique_ptr<Socket> Listener::Accept() {
    const auto& [listener, stop, idle] = *m_state;
    for (;;) {
        std::array<pollfd, 2> watched{{{stop.Get(), POLLIN, 0}, {listener.Get(), POLLIN, 0}}};
        poll(watched.data(), watched.size(), -1);
        if (watched[0].revents != 0) {
            return nullptr;
        }
        FileDescriptor connection(
            accept4(listener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
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
