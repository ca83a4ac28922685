// Reads HTTP requests (RFC 9112) off a connection.

#pragma once

#include "Server/Request.h"

#include "sockets/Transport.h"

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace Server {

/// The request is malformed or too large; `status` is that of the response.
class BadRequest : public std::runtime_error {
public:
    BadRequest(int status, const char* text) : std::runtime_error(text), m_status(status) {}
    int GetStatus() const noexcept { return m_status; }

private:
    int m_status;
};

/// What a reader takes.
struct RequestLimits {
    std::size_t maxHeadSize;
    /// How large the body may be that follows this head.
    std::function<std::size_t(const Request& head)> getMaxBodySize;
    /// Is called before a body of up to so many bytes is read; may wait, and throw.
    std::function<void(std::size_t size)> makeRoom;
};

/// Reads the requests of one connection and checks all of each.
class RequestReader {
public:
    RequestReader(Transport& transport, RequestLimits limits)
        : m_transport(transport), m_limits(std::move(limits)) {}

    /// Fills method, target, headers, body and, as the client wants it, isLast. Throws BadRequest,
    /// with 408 for a client that is too slow once it has begun, ConnectionLost, and what the
    /// functions of the limits throw.
    void Read(Request& request);

    /// Waits for a further request; false if the client leaves, or stays silent, without one.
    bool AwaitNext() noexcept;

private:
    void ReadStarted(Request& request);
    void ReceiveMore();
    std::string ReadUntil(std::string_view end, std::size_t maxSize);
    std::string ReadCount(std::size_t count);
    std::string ReadBody(const Request& head);
    std::string ReadChunks(std::size_t maxSize);

    Transport& m_transport;
    RequestLimits m_limits;
    std::string m_buffer;  // received and not used yet
};

}  // namespace Server
