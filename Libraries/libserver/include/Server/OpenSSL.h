// OpenSSL with its objects owned and its failures thrown.

#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace Server {

/// Calls an OpenSSL function that frees what it is given.
template <auto Free>
struct OpenSSLDeleter {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

using BioPointer = std::unique_ptr<BIO, OpenSSLDeleter<BIO_free>>;
using BioMethodPointer = std::unique_ptr<BIO_METHOD, OpenSSLDeleter<BIO_meth_free>>;
using CertificatePointer = std::unique_ptr<X509, OpenSSLDeleter<X509_free>>;
using ExtensionPointer = std::unique_ptr<X509_EXTENSION, OpenSSLDeleter<X509_EXTENSION_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSSLDeleter<EVP_PKEY_free>>;
using TlsContextPointer = std::unique_ptr<SSL_CTX, OpenSSLDeleter<SSL_CTX_free>>;
using TlsPointer = std::unique_ptr<SSL, OpenSSLDeleter<SSL_free>>;

/// What went wrong first on this thread, in OpenSSL's words; forgets all of it.
std::string TakeOpenSSLError();

/// Throws std::runtime_error with TakeOpenSSLError() unless `isDone`; `action` is what should have
/// been done.
void CheckOpenSSL(bool isDone, const char* action);

}  // namespace Server
