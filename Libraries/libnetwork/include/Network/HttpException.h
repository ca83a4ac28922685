// The failure of an HTTP request.

#pragma once

#include "Network/Export.h"

#include <stdexcept>

namespace Network::Http {

/// Why there is no complete response.
enum class FailureReason {
    None = 0,           // there is one
    Cancelled = 1,      // the caller ended the request
    Invalid = 2,        // the address or a header of the request is not well-formed
    Unreachable = 3,    // the host is not known, or nothing there accepts a connection
    Untrusted = 4,      // there is no encrypted connection to a server with a trusted certificate
    TimedOut = 5,       // a time limit has passed
    Broken = 6,         // the response is cut off, malformed or not what was asked for
    Local = 7,          // a handler, a source or a sink threw, or this machine lacks a resource
    WrongProtocol = 8,  // what answers does not speak HTTP, or not the encryption that https needs
};

/// Thrown for a request without a complete response. what() is Response::failure.
class NETWORK_API Exception : public std::runtime_error {
public:
    explicit Exception(const char* message, FailureReason reason = FailureReason::Broken)
        : std::runtime_error(message), m_reason(reason) {}
    ~Exception() override;

    FailureReason GetReason() const noexcept { return m_reason; }

private:
    FailureReason m_reason;
};

}  // namespace Network::Http
