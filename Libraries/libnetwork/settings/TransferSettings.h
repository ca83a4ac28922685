// What holds for all transfers of the process: the authorities to trust, the proxy, and routes.

#pragma once

#include "Kernel/String.h"

#include <optional>
#include <vector>

namespace Network {

/// What the setters of this library have set, at one moment.
struct TransferSettings {
    Kernel::String certificateAuthorities;  // empty: the system's
    std::optional<Kernel::String> proxy;    // nothing: as the environment says; empty: none
    std::vector<Kernel::String> routes;     // as CURLOPT_CONNECT_TO takes them, newest first
};

TransferSettings GetTransferSettings();

}  // namespace Network
