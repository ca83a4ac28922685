// Parsing and validation of web addresses.

#pragma once

#include "Network/HttpRequest.h"

#include "curl/Curl.h"

namespace Network {

/// The parsed address of `request`, with its parameters in the query. Throws Http::Exception if it
/// is not absolute, not http or https, or not well-formed.
CurlAddress ParseAddress(const Http::Request& request);

/// `address` for messages: without user, password, query and fragment, which may contain secrets.
Kernel::String DescribeAddress(const Kernel::String& address);

}  // namespace Network
