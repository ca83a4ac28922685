// The bytes of one connection, with or without TLS.

#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string_view>

namespace Server {

/// The connection can't be used any more; what() has the reason.
class ConnectionLost : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The client lets the server wait for longer than it may.
class TooSlow : public ConnectionLost {
public:
    using ConnectionLost::ConnectionLost;
};

/// Both ways of a connection. All operations throw ConnectionLost. Used by one thread.
class Transport {
public:
    virtual ~Transport() = default;

    /// Waits for bytes and returns how many there were; 0 once the client has ended its side.
    virtual std::size_t Receive(std::span<char> buffer) = 0;
    virtual void Send(std::string_view bytes) = 0;
    /// Tells the client that nothing follows, if the protocol has a message for it.
    virtual void SayEnd() {}
};

}  // namespace Server
