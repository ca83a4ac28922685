// The certificate authorities that requests trust.

#pragma once

#include "Kernel/String.h"

#include <openssl/x509_vfy.h>

#include <memory>

namespace Network {

/// The authorities of a file (PEM), or, for an empty path, of the system. They are parsed once and
/// shared by all requests, since the system's hundreds take 25 ms and 1 MB; and again as soon as
/// the file changes. Throws Http::Exception if the file can't be read or has none.
///
/// Threads: any, the store itself included.
std::shared_ptr<X509_STORE> GetTrustStore(const Kernel::String& path);

}  // namespace Network
