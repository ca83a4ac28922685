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
struct OpenSslDeleter {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

using BioPointer = std::unique_ptr<BIO, OpenSslDeleter<BIO_free>>;
using BioMethodPointer = std::unique_ptr<BIO_METHOD, OpenSslDeleter<BIO_meth_free>>;
using CertificatePointer = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using ExtensionPointer = std::unique_ptr<X509_EXTENSION, OpenSslDeleter<X509_EXTENSION_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using TlsContextPointer = std::unique_ptr<SSL_CTX, OpenSslDeleter<SSL_CTX_free>>;
using TlsPointer = std::unique_ptr<SSL, OpenSslDeleter<SSL_free>>;

/// What went wrong first on this thread, in OpenSSL's words; forgets all of it.
std::string TakeOpenSslError();

/// Throws std::runtime_error with TakeOpenSslError() unless `isDone`; `action` is what should have
/// been done.
void CheckOpenSsl(bool isDone, const char* action);

}  // namespace Server
