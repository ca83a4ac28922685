// Settings for all requests of the process.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

#include <optional>

namespace Network {

/// Sets the file (PEM) of the certificate authorities to trust instead of the system's; an empty
/// path restores those. Requests that have started are not affected.
NETWORK_API void SetCertificateAuthorities(const Kernel::String& path);

/// Sets the proxy for all requests, for example "http://proxy:3128"; an empty text for none. With
/// std::nullopt, the initial setting, environment variables decide (http_proxy, https_proxy,
/// no_proxy).
NETWORK_API void SetProxy(const std::optional<Kernel::String>& proxy);

}  // namespace Network
