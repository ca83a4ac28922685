// Settings for all transfers of the process: certificate authorities, proxy and routes.

#pragma once

#include "Kernel/String.h"

#include <optional>
#include <vector>

namespace Network {

/// A snapshot of the settings.
struct TransferSettings {
    Kernel::String certificateAuthorities;  // empty: the system's
    std::optional<Kernel::String> proxy;    // std::nullopt: from the environment; empty: none
    std::vector<Kernel::String> routes;     // as CURLOPT_CONNECT_TO takes them, newest first
};

TransferSettings GetTransferSettings();

}  // namespace Network
