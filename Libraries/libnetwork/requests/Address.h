// Web addresses, checked before they are used.

#pragma once

#include "Network/HttpRequest.h"

#include "curl/Curl.h"

namespace Network {

/// The address of `request` with its parameters, taken apart. Throws Http::Exception if it is not
/// absolute, not http or https, or not well-formed.
CurlAddress ParseAddress(const Http::Request& request);

/// `address` for messages: without its user, password, query and fragment, which may be secret.
Kernel::String DescribeAddress(const Kernel::String& address);

}  // namespace Network
