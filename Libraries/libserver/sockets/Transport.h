// How the bytes of one connection come and go: as they are, or through TLS.

#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string_view>

namespace Server {

/// The connection is of no more use; what() says why.
class ConnectionLost : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Both ways of a connection. All operations throw ConnectionLost. Used by one thread.
class Transport {
public:
    virtual ~Transport() = default;

    /// Waits for bytes and returns how many there were; 0 once the client has ended its side.
    virtual std::size_t Receive(std::span<char> buffer) = 0;
    virtual void Send(std::string_view bytes) = 0;
    /// Tells the client that no more will come, if there is a way to say so.
    virtual void SayEnd() {}
};

}  // namespace Server
