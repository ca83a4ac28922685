// Accepts TCP connections until it is stopped.

#pragma once

#include "Server/Loopback.h"

#include "sockets/Socket.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace Server {

/// Listens on a port of this machine's own addresses. Threads: any may call.
class Listener {
public:
    /// `port`: 0 for any that is free. A client that neither sends nor takes anything for `idle` is
    /// given up. Throws std::system_error if the port can't be bound.
    Listener(Loopback loopback, int port, std::chrono::milliseconds idle);
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    /// The sockets from Accept() must be gone.
    ~Listener();

    int GetPort() const noexcept;
    std::vector<std::string> GetAddresses() const;

    /// Waits for the next connection; null once Stop() has been called.
    std::unique_ptr<Socket> Accept();
    /// Ends the waits of Accept() and of all sockets, which throw ConnectionLost.
    void Stop() noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Server
