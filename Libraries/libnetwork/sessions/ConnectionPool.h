// The connections of a session that no request uses at the moment.

#pragma once

#include "Kernel/String.h"

#include "curl/Curl.h"

#include <cstddef>
#include <mutex>
#include <vector>

namespace Network {

/// A driver, which holds one connection: that of its last request, whatever was changed since the
/// one before, such as the way to the server.
struct Connection {
    CurlDriver driver;
    /// On which nothing may come before the next request; CURL_SOCKET_BAD if anything may.
    curl_socket_t socket = CURL_SOCKET_BAD;
};

/// None of its connections is used by two threads at a time: libcurl can share them between threads
/// in name only.
///
/// Threads: any.
class ConnectionPool {
public:
    ConnectionPool() { m_idle.reserve(MaximumIdle + 1); }

    /// The connection that was given back last for `purpose` and can still be used, or a driver
    /// that has none yet.
    CurlDriver Take(const Kernel::String& purpose);
    /// Keeps a connection, from whose driver all handles are removed, for requests of the same
    /// purpose; closes the one that has waited longest if there are too many.
    void Give(const Kernel::String& purpose, Connection connection) noexcept;

private:
    static constexpr std::size_t MaximumIdle = 8;

    struct Idle {
        Kernel::String purpose;
        Connection connection;
    };

    Connection TakeAny(const Kernel::String& purpose);

    std::mutex m_mutex;
    std::vector<Idle> m_idle;  // the last is the one that was given back last
};

}  // namespace Network
