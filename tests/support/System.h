// What differs between systems in what tests ask for and expect.

#pragma once

#include <filesystem>

namespace Support {

/// Where expectations differ by a word, in place of a test for each system.
constexpr bool IsWindows = std::filesystem::path::preferred_separator != '/';
/// What a transfer says that the server has reset; Wine takes that for an orderly end.
constexpr const char* ResetReason = IsWindows ? "" : "reset";

/// Whether TLS is Windows' own, which words failures in its way, and of which a session of
/// libnetwork keeps no connection.
extern const bool HasWindowsTls;

/// By which name tests reach servers of this machine that encrypt: "127.0.0.1", or "localhost"
/// where libcurl finds no addresses in certificates, as with Windows' TLS and authorities of one's
/// own.
extern const char* const EncryptedHost;

/// Whether tests may make symbolic links.
extern const bool HasLinks;

}  // namespace Support
