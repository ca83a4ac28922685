#include "sockets/windows/TcpSocket.h"

#include <algorithm>
#include <array>
#include <limits>

namespace Server {

namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

// The time limit of an orderly close, which takes next to none on the loopback interface.
constexpr milliseconds CloseLimit{1000};
// Windows does not tell what the other side has; on the loopback interface that is all, at once.
constexpr milliseconds ResetPause{20};
// How often a pause looks for the end of the client.
constexpr milliseconds LookInterval{10};

[[noreturn]] void ThrowLost(const char* action) {
    throw ConnectionLost(std::string(action) + ": " + GetSocketError().message());
}

milliseconds GetTimeUntil(SteadyClock::time_point end) {
    return std::chrono::ceil<milliseconds>(end - SteadyClock::now());
}

/// Whether the last call failed only for now.
bool HasToWait() {
    return WSAGetLastError() == WSAEWOULDBLOCK || WSAGetLastError() == WSAEINTR;
}

int Limit(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, 1 << 30));
}

}  // namespace

TcpSocket::TcpSocket(SocketHandle connection, SOCKET stop, milliseconds idle)
    : m_connection(std::move(connection)), m_stop(stop), m_idle(idle) {
    const BOOL yes = TRUE;  // the pieces of a drip go out one by one
    setsockopt(m_connection.Get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&yes),
               sizeof yes);
}

std::size_t TcpSocket::Receive(std::span<char> buffer) {
    for (;;) {
        const milliseconds rest = GetTimeUntil(m_deadline);
        if (rest.count() <= 0) {
            throw TooSlow("the client takes too long");
        }
        const int got = recv(m_connection.Get(), buffer.data(), Limit(buffer.size()), 0);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (!HasToWait()) {
            ThrowLost("cannot receive");
        }
        if (!WaitFor(POLLRDNORM, std::min(m_idle, rest))) {
            throw TooSlow("the client sends nothing");
        }
    }
}

void TcpSocket::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = send(m_connection.Get(), bytes.data(), Limit(bytes.size()), 0);
        if (sent >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (!HasToWait()) {
            ThrowLost("cannot send");
        } else if (!WaitFor(POLLWRNORM, m_idle)) {
            throw TooSlow("the client takes nothing");
        }
    }
}

void TcpSocket::Pause(milliseconds duration) {
    const auto end = SteadyClock::now() + duration;
    while (!HasEnded() && SteadyClock::now() < end) {
        WaitFor(0, std::min(LookInterval, GetTimeUntil(end)));
    }
}

void TcpSocket::Close() {
    // Closing while bytes of the client are unread would reset the connection, and the client
    // would lose what it has not read yet.
    shutdown(m_connection.Get(), SD_SEND);
    const auto end = SteadyClock::now() + CloseLimit;
    std::array<char, 16384> unread;
    for (;;) {
        const int got = recv(m_connection.Get(), unread.data(), Limit(unread.size()), 0);
        const bool isOver = got == 0 || (got < 0 && !HasToWait());
        const milliseconds rest = GetTimeUntil(end);  // bounded, even if the client goes on sending
        if (isOver || rest.count() <= 0 || !WaitFor(POLLRDNORM, rest)) {
            break;
        }
    }
    m_connection.Close();
}

void TcpSocket::Reset() {
    WaitFor(0, ResetPause);
    const linger hard{1, 0};
    setsockopt(m_connection.Get(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard),
               sizeof hard);
    m_connection.Close();
}

std::string TcpSocket::GetPeer() const {
    SocketAddress address;
    getpeername(m_connection.Get(), address.Get(), &address.size);
    return FormatAddress(address);
}

/// Whether one of `events` (or a failure of the connection) came before `timeout` had passed.
bool TcpSocket::WaitFor(short events, milliseconds timeout) {
    const auto rest =
        std::clamp<milliseconds::rep>(timeout.count(), 0, std::numeric_limits<int>::max());
    std::array<WSAPOLLFD, 2> watched{{{m_stop, POLLRDNORM, 0}, {m_connection.Get(), events, 0}}};
    // One that is watched for nothing may be ready all the time.
    const ULONG count = events != 0 ? 2 : 1;
    if (WSAPoll(watched.data(), count, static_cast<int>(rest)) < 0) {
        ThrowLost("cannot wait");
    }
    if (watched[0].revents != 0) {
        throw ConnectionLost("the server stops");
    }
    return watched[1].revents != 0;
}

/// Whether the client has ended its side, and all that it sent before was read.
bool TcpSocket::HasEnded() const {
    char next = 0;
    const int got = recv(m_connection.Get(), &next, 1, MSG_PEEK);
    return got == 0 || (got < 0 && !HasToWait());
}

}  // namespace Server
