// Sending requests for one host to another: for tests, and for work with a local service.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

#include <cstdint>

namespace Network {

/// For as long as this object lives, connections to `host` (any port) go to `targetHost`, port
/// `targetPort`. Nothing else changes: the request names `host`, and the certificate must be that
/// of `host`. The newest route to a host counts.
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
