// How far an HTTP transfer is.

#pragma once

#include <cstdint>

namespace Network::Http {

/// How far a transfer is, in bytes. A total is 0 while it is not known.
struct ProgressInformation {
    std::uint64_t received = 0;
    std::uint64_t totalToReceive = 0;
    std::uint64_t sent = 0;
    std::uint64_t totalToSend = 0;
};

}  // namespace Network::Http
