// Parsing and validation of web addresses.

#pragma once

#include "Network/HttpRequest.h"

#include "curl/Curl.h"

namespace Network {

/// The parsed address of `request`, with its parameters in the query. Throws Http::Exception if it
/// is not absolute, not http or https, or not well-formed.
CurlAddress ParseAddress(const Http::Request& request);

/// The address that `location` (a reference, RFC 3986, 4.1) names in a response from `base`. Its
/// user and password are those of `base` if it has the same origin and none of its own. Throws
/// Http::Exception as ParseAddress() does.
CurlAddress ResolveRedirect(const CurlAddress& base, const Kernel::String& location);

/// Whether both have the same scheme, host and port (RFC 6454).
bool HasSameOrigin(const CurlAddress& left, const CurlAddress& right);

/// Scheme, host and port, as they are written in `address` or by default.
Kernel::String GetOrigin(const CurlAddress& address);

bool IsEncrypted(const CurlAddress& address);

/// `address` for messages: without user, password, query and fragment, which may contain secrets.
Kernel::String DescribeAddress(const Kernel::String& address);

}  // namespace Network
