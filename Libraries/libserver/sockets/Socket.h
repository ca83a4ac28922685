// One TCP connection, each wait of which ends when the server stops.

#pragma once

#include "sockets/Transport.h"

#include <chrono>
#include <string>

namespace Server {

/// The transport without TLS, and what TCP alone can do.
class Socket : public Transport {
public:
    /// From `end` on Receive() throws TooSlow, however fast bytes come.
    virtual void SetDeadline(std::chrono::steady_clock::time_point end) = 0;
    /// Waits for `duration`, or until the client has ended its side.
    virtual void Pause(std::chrono::milliseconds duration) = 0;
    /// Sends FIN and closes, once the client has done so too or a short while has passed.
    virtual void Close() = 0;
    /// Sends RST and closes, once the client's system has all that was sent or a short while has
    /// passed.
    virtual void Reset() = 0;

    /// Address and port of the client.
    virtual std::string GetPeer() const = 0;
};

}  // namespace Server
