// Servers for tests of clients, and the authority whose certificates clients can trust.

#pragma once

#include "Server/OpenSSL.h"
#include "Server/ScriptedServer.h"

#include "support/System.h"

#include <openssl/pem.h>

#include <string>
#include <utility>
#include <vector>

namespace Support {

/// The authority that has signed the certificates of all servers of a test program.
inline const Server::CertificateAuthority& GetAuthority() {
    static const Server::CertificateAuthority authority;
    return authority;
}

/// The size of the signature of a certificate, ECDSA over P-256: 70 to 72 bytes, or less if one of
/// its two numbers begins with zeros.
inline int GetSignatureSize(const Server::Identity& identity) {
    const std::string& pem = identity.certificate;
    const Server::BioPointer bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    const Server::CertificatePointer certificate(
        PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    const ASN1_BIT_STRING* signature = nullptr;
    X509_get0_signature(&signature, nullptr, certificate.get());
    return ASN1_STRING_length(signature);
}

/// An identity from that authority. Wine 8 takes a signature for wrong if one of its numbers begins
/// with a byte of zeros, as one certificate in 64 has.
inline Server::Identity IssueIdentity(const std::vector<std::string>& names = {}) {
    for (;;) {
        Server::Identity identity =
            GetAuthority().Issue(Server::CertificateAuthority::Flaw::None, names);
        if (!HasWindowsTls || GetSignatureSize(identity) > 70) {
            return identity;
        }
    }
}

inline Server::ScriptedServer::Options Encrypted(bool isEncrypted = true) {
    Server::ScriptedServer::Options options;
    if (isEncrypted) {
        options.identity = IssueIdentity();
    }
    return options;
}

/// A server with its address. Given a script, it answers each request with it.
class TestServer : public Server::ScriptedServer {
public:
    explicit TestServer(Handler handler, const Options& options = {})
        : ScriptedServer(options, std::move(handler)),
          m_address((options.identity ? std::string("https://") + EncryptedHost + ":"
                                      : "http://127.0.0.1:") +
                    std::to_string(GetPort())) {}
    explicit TestServer(const Server::Script& script, const Options& options = {})
        : TestServer([script](const Server::Request&) { return script; }, options) {}

    std::string GetAddress(const std::string& path = "/") const { return m_address + path; }

private:
    const std::string m_address;
};

}  // namespace Support
