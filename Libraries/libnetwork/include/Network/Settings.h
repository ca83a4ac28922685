// What holds for all requests of the process.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

#include <optional>

namespace Network {

/// Sets the file (PEM) of the certificate authorities to trust instead of the system's. Empty goes
/// back to those. Requests under way are not affected.
NETWORK_API void SetCertificateAuthorities(const Kernel::String& path);

/// Sets the proxy for all requests, for example "http://proxy:3128"; empty uses none. Without this,
/// or with nothing, the environment decides (http_proxy, https_proxy, no_proxy).
NETWORK_API void SetProxy(const std::optional<Kernel::String>& proxy);

}  // namespace Network
