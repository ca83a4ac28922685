// The addresses of this machine that only this machine can reach.

#pragma once

namespace Server {

/// Where a server listens: 127.0.0.1, ::1, or the two on one port, as far as the system has IPv6.
enum class Loopback { IPv4, IPv6, Both };

}  // namespace Server
