// One TCP connection whose every wait ends when the server stops.

#pragma once

#include "Server/FileDescriptor.h"

#include "sockets/Transport.h"

#include <chrono>
#include <string>

namespace Server {

/// The plain transport, and what only TCP can do.
class Socket : public Transport {
public:
    /// `connection` does not block; `stop` becomes readable when the server stops. A client that
    /// neither sends nor takes anything for `idle` is given up.
    Socket(FileDescriptor connection, int stop, std::chrono::milliseconds idle);

    std::size_t Receive(std::span<char> buffer) override;
    void Send(std::string_view bytes) override;

    /// Waits for `duration`, or until the client has ended its side.
    void Pause(std::chrono::milliseconds duration);
    /// Sends FIN and closes, once the client has done so too or a short while has passed.
    void Close();
    /// Sends RST and closes, once the client's system has all that was sent or a short while has
    /// passed.
    void Reset();

    /// Address and port of the client.
    std::string GetPeer() const;

private:
    bool WaitFor(short events, std::chrono::milliseconds timeout);

    FileDescriptor m_connection;
    int m_stop;
    std::chrono::milliseconds m_idle;
};

}  // namespace Server
