// Reads HTTP requests (RFC 9112) off a connection.

#pragma once

#include "Server/Request.h"

#include "sockets/Transport.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace Server {

/// The request is malformed or too large; `status` is that of the response.
class BadRequest : public std::runtime_error {
public:
    BadRequest(int status, const char* text) : std::runtime_error(text), m_status(status) {}
    int GetStatus() const noexcept { return m_status; }

private:
    int m_status;
};

/// Reads the requests of one connection and checks all of each.
class RequestReader {
public:
    RequestReader(Transport& transport, std::size_t maxHeadSize, std::size_t maxBodySize);

    /// Fills method, target, headers, body and, as the client wants it, isLast. Throws BadRequest,
    /// with 408 for a client that is too slow once it has begun, and ConnectionLost.
    void Read(Request& request);

    /// Waits for a further request; false if the client leaves, or stays silent, without one.
    bool AwaitNext() noexcept;

private:
    void ReadStarted(Request& request);
    void ReceiveMore();
    std::string ReadUntil(std::string_view end, std::size_t maxSize);
    std::string ReadCount(std::size_t count);
    std::string ReadBody(const Headers& headers);
    std::string ReadChunks();

    Transport& m_transport;
    std::size_t m_maxHeadSize;
    std::size_t m_maxBodySize;
    std::string m_buffer;  // received and not used yet
};

}  // namespace Server
