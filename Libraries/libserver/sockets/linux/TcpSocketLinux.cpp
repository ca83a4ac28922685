#include "sockets/linux/SocketAddress.h"
#include "sockets/linux/TcpSocket.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <system_error>

namespace Server {

namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

// The time limit of an orderly close, which takes next to none on the loopback interface.
constexpr milliseconds CloseLimit{1000};

[[noreturn]] void ThrowLost(const char* action) {
    throw ConnectionLost(std::string(action) + ": " + std::generic_category().message(errno));
}

/// Whether the last call failed only for now.
bool HasToWait() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

milliseconds GetTimeUntil(SteadyClock::time_point end) {
    return std::chrono::ceil<milliseconds>(end - SteadyClock::now());
}

}  // namespace

TcpSocket::TcpSocket(FileDescriptor connection, int stop, milliseconds idle)
    : m_connection(std::move(connection)), m_stop(stop), m_idle(idle) {
    const int yes = 1;  // the pieces of a drip go out one by one
    setsockopt(m_connection.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

std::size_t TcpSocket::Receive(std::span<char> buffer) {
    for (;;) {
        const milliseconds rest = GetTimeUntil(m_deadline);
        if (rest.count() <= 0) {
            throw TooSlow("the client takes too long");
        }
        const ssize_t got = recv(m_connection.Get(), buffer.data(), buffer.size(), 0);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (!HasToWait()) {
            ThrowLost("cannot receive");
        }
        if (!WaitFor(POLLIN, std::min(m_idle, rest))) {
            throw TooSlow("the client sends nothing");
        }
    }
}

void TcpSocket::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(m_connection.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (!HasToWait()) {
            ThrowLost("cannot send");
        } else if (!WaitFor(POLLOUT, m_idle)) {
            throw TooSlow("the client takes nothing");
        }
    }
}

void TcpSocket::Pause(milliseconds duration) {
    WaitFor(POLLRDHUP, duration);
}

void TcpSocket::Close() {
    // Closing while bytes of the client are unread would reset the connection, and the client
    // would lose what it has not read yet.
    shutdown(m_connection.Get(), SHUT_WR);
    const auto end = SteadyClock::now() + CloseLimit;
    std::array<char, 16384> unread;
    for (;;) {
        const ssize_t got = recv(m_connection.Get(), unread.data(), unread.size(), 0);
        const bool isOver = got == 0 || (got < 0 && !HasToWait());
        const milliseconds rest = GetTimeUntil(end);  // bounded, even if the client goes on sending
        if (isOver || rest.count() <= 0 || !WaitFor(POLLIN, rest)) {
            break;
        }
    }
    m_connection.Close();
}

void TcpSocket::Reset() {
    const auto end = SteadyClock::now() + CloseLimit;
    int onTheWay = 0;
    while (ioctl(m_connection.Get(), SIOCOUTQ, &onTheWay) == 0 && onTheWay > 0 &&
           SteadyClock::now() < end) {
        WaitFor(0, milliseconds(1));
    }
    const linger hard{1, 0};
    setsockopt(m_connection.Get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    m_connection.Close();
}

std::string TcpSocket::GetPeer() const {
    SocketAddress address;
    getpeername(m_connection.Get(), address.Get(), &address.size);
    return FormatAddress(address);
}

/// Whether one of `events` (or a failure of the connection) came before `timeout` had passed.
bool TcpSocket::WaitFor(short events, milliseconds timeout) {
    const auto end = SteadyClock::now() + timeout;
    for (;;) {
        const auto rest = std::clamp<milliseconds::rep>(GetTimeUntil(end).count(), 0,
                                                        std::numeric_limits<int>::max());
        std::array<pollfd, 2> watched{{{m_connection.Get(), events, 0}, {m_stop, POLLIN, 0}}};
        const int ready = poll(watched.data(), watched.size(), static_cast<int>(rest));
        if (watched[1].revents != 0) {
            throw ConnectionLost("the server stops");
        }
        if (ready > 0 || rest == 0) {
            return ready > 0;
        }
        if (ready < 0 && errno != EINTR) {
            ThrowLost("cannot wait");
        }
    }
}

}  // namespace Server
