// The progress of an HTTP transfer.

#pragma once

#include <cstdint>

namespace Network::Http {

/// The bytes transferred so far. A total is 0 while it is unknown.
struct ProgressInformation {
    std::uint64_t received = 0;
    std::uint64_t totalToReceive = 0;
    std::uint64_t sent = 0;
    std::uint64_t totalToSend = 0;

    bool operator==(const ProgressInformation&) const = default;
};

}  // namespace Network::Http
