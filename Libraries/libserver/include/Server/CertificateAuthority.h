// Short-lived certificates for a server, from an authority that only its own clients trust.

#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Server {

/// A server's certificate and its private key, as PEM text.
struct Identity {
    std::string certificate;
    std::string privateKey;
};

/// A certificate authority that lives in memory alone, with a new key (EC P-256) each time.
///
/// Threads: any number may issue at the same time.
class CertificateAuthority {
public:
    /// What is wrong with a certificate.
    enum class Flaw {
        None,
        WrongName,   // made out to wrong.invalid alone
        Expired,     // since yesterday
        SelfSigned,  // not signed by this authority
    };

    /// Throws std::runtime_error if OpenSSL fails, as all of this class does.
    CertificateAuthority();
    CertificateAuthority(const CertificateAuthority&) = delete;
    CertificateAuthority& operator=(const CertificateAuthority&) = delete;
    ~CertificateAuthority();

    /// An identity for localhost, 127.0.0.1, ::1 and `names`: host names or IPv4 addresses. Valid
    /// for 29 days, one less than the authority itself.
    Identity Issue(Flaw flaw = Flaw::None, const std::vector<std::string>& names = {}) const;

    /// The authority's own certificate as PEM text: what a client has to trust.
    const std::string& GetCertificate() const;

    /// Writes GetCertificate() to a file. Throws std::runtime_error if that fails.
    void WriteCertificate(const std::string& path) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Server
