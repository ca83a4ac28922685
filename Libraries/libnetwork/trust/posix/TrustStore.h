// The certificate authorities that requests trust, for OpenSSL.

#pragma once

#include "Kernel/String.h"

namespace Network {

/// Where certificate authorities are.
struct Authorities {
    Kernel::String file;    // PEM
    Kernel::String folder;  // used if `file` is empty: one for each, named as OpenSSL wants it
};

/// Lets a context of OpenSSL (SSL_CTX) trust the authorities. A file is parsed once and shared by
/// all requests, since the system's hundreds of authorities take 25 ms and 1 MB; and again as soon
/// as it changes. Throws Kernel::IoException if the file can't be read or has none.
///
/// Threads: any.
void SetTrust(void* context, const Authorities& authorities);

/// A text that changes with the authorities, as far as that can be seen without parsing them.
Kernel::String DescribeState(const Authorities& authorities);

}  // namespace Network
