// A connection as a socket of Windows.

#pragma once

#include "sockets/Socket.h"
#include "sockets/windows/SocketHandle.h"

namespace Server {

class TcpSocket final : public Socket {
public:
    /// `connection` does not block; `stop` becomes readable when the server stops. A client that
    /// neither sends nor takes anything for `idle` is given up, with TooSlow.
    TcpSocket(SocketHandle connection, SOCKET stop, std::chrono::milliseconds idle);

    std::size_t Receive(std::span<char> buffer) override;
    void Send(std::string_view bytes) override;

    void SetDeadline(std::chrono::steady_clock::time_point end) override { m_deadline = end; }
    void Pause(std::chrono::milliseconds duration) override;
    void Close() override;
    void Reset() override;
    std::string GetPeer() const override;

private:
    bool WaitFor(short events, std::chrono::milliseconds timeout);
    bool HasEnded() const;

    SocketHandle m_connection;
    SOCKET m_stop;
    std::chrono::milliseconds m_idle;
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
};

}  // namespace Server
