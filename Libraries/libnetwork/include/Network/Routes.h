// Redirection of connections to another host, for tests and for a local service.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

#include <cstdint>

namespace Network {

/// During the lifetime of this object, connections to `host` (any port) go to `targetHost`, port
/// `targetPort`. The Host header still names `host`, and the certificate must be one for `host`.
/// The newest of several routes for a host is used.
class NETWORK_API ScopedRoute {
public:
    ScopedRoute(const Kernel::String& host, const Kernel::String& targetHost,
                std::uint16_t targetPort);
    ScopedRoute(const ScopedRoute&) = delete;
    ScopedRoute& operator=(const ScopedRoute&) = delete;
    ~ScopedRoute();

private:
    Kernel::String m_route;
};

}  // namespace Network
