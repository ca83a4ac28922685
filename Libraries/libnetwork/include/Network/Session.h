// Connections that several requests use, one after the other.

#pragma once

#include "Kernel/Counted.h"
#include "Network/Export.h"

#include <memory>

namespace Network {

class ConnectionPool;
class Transfer;

/// Keeps connections for the requests that name it (Http::Request::session), for as long as it
/// lives: with it a request need not connect anew, and servers that offer HTTP/2 (RFC 9113) over
/// TLS are spoken to in that.
///
/// A request has a connection to itself while it runs. If the request ends in order and the server
/// agrees, up to eight connections wait for requests to their origins, and are used by none that
/// trusts other certificate authorities than those they were opened with. Nothing else passes from
/// one request to the next.
///
/// Threads: any, many requests at the same time.
class NETWORK_API Session : public Kernel::Countable {
public:
    Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Closes the connections; requests that run keep the session alive.
    ~Session() override;

private:
    friend class Transfer;

    const std::unique_ptr<ConnectionPool> m_pool;
};

}  // namespace Network
