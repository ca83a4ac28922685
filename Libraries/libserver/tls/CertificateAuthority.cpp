#include "Server/CertificateAuthority.h"

#include "Server/OpenSSL.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

namespace Server {

namespace {

constexpr long Hour = 60L * 60;
constexpr long Day = 24 * Hour;

KeyPointer MakeKey() {
    KeyPointer key(EVP_EC_gen("P-256"));
    CheckOpenSSL(key != nullptr, "make a key");
    return key;
}

/// The subject `name` for `key`, valid from `start` to `end` (seconds from now). Not signed yet.
CertificatePointer MakeCertificate(const char* name, EVP_PKEY* key, long start, long end) {
    CertificatePointer certificate(X509_new());
    CheckOpenSSL(certificate != nullptr, "make a certificate");
    std::uint64_t serial = 0;
    CheckOpenSSL(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1,
                 "make a number");
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial >> 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), start);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), end);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    CheckOpenSSL(X509_set_pubkey(certificate.get(), key) == 1, "make a certificate");
    return certificate;
}

struct Extension {
    int kind;
    std::string value;  // in the notation of OpenSSL's x509v3_config
};

/// Whether both numbers of the signature, which is of ECDSA over P-256, have all their 32 bytes.
bool HasWholeNumbers(const X509* certificate) {
    const ASN1_BIT_STRING* signature = nullptr;
    X509_get0_signature(&signature, nullptr, certificate);
    const unsigned char* bytes = signature->data;
    const std::unique_ptr<ECDSA_SIG, decltype(&ECDSA_SIG_free)> numbers(
        d2i_ECDSA_SIG(nullptr, &bytes, signature->length), ECDSA_SIG_free);
    CheckOpenSSL(numbers != nullptr, "read a signature");
    return BN_num_bytes(ECDSA_SIG_get0_r(numbers.get())) == 32 &&
           BN_num_bytes(ECDSA_SIG_get0_s(numbers.get())) == 32;
}

void Sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey,
          const std::vector<Extension>& extensions) {
    X509_set_issuer_name(certificate, X509_get_subject_name(issuer));
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    for (const auto& [kind, value] : extensions) {
        const ExtensionPointer extension(
            X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
        CheckOpenSSL(extension && X509_add_ext(certificate, extension.get(), -1) == 1,
                     "extend a certificate");
    }
    do {  // of 128 signatures one has a shorter number, and Wine 8 takes it for a wrong one
        CheckOpenSSL(X509_sign(certificate, issuerKey, EVP_sha256()) != 0, "sign a certificate");
    } while (!HasWholeNumbers(certificate));
}

/// What `write` puts into a BIO.
template <class Write>
std::string ToText(Write&& write) {
    const BioPointer bio(BIO_new(BIO_s_mem()));
    CheckOpenSSL(bio && write(bio.get()) == 1, "write PEM");
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::string ToPem(X509* certificate) {
    return ToText([certificate](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string ToPem(EVP_PKEY* key) {
    return ToText([key](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

/// `names` as a subject alternative name.
std::string FormatNames(const std::vector<std::string>& names) {
    constexpr std::string_view Digits = "0123456789.";
    constexpr std::string_view Allowed =
        "0123456789.-*ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string text;
    for (const std::string& name : names) {
        if (name.empty() || name.find_first_not_of(Allowed) != std::string::npos) {
            throw std::runtime_error("'" + name + "' is not a host name");
        }
        const bool isAddress = name.find_first_not_of(Digits) == std::string::npos;
        text += (text.empty() ? "" : ",") + std::string(isAddress ? "IP:" : "DNS:") + name;
    }
    return text;
}

}  // namespace

struct CertificateAuthority::State {
    KeyPointer key = MakeKey();
    CertificatePointer certificate =
        MakeCertificate("Orvantis throw-away authority", key.get(), -Hour, 30 * Day);
    std::string text;
};

CertificateAuthority::CertificateAuthority() : m_state(std::make_unique<State>()) {
    X509* const self = m_state->certificate.get();
    Sign(self, self, m_state->key.get(),
         {{NID_basic_constraints, "critical,CA:TRUE"},
          {NID_key_usage, "critical,keyCertSign"},
          {NID_subject_key_identifier, "hash"}});
    m_state->text = ToPem(self);
}

CertificateAuthority::~CertificateAuthority() = default;

Identity CertificateAuthority::Issue(Flaw flaw, const std::vector<std::string>& names) const {
    std::vector<std::string> allNames{"localhost", "127.0.0.1"};
    allNames.insert(allNames.end(), names.begin(), names.end());
    if (flaw == Flaw::WrongName) {
        allNames = {"wrong.invalid"};
    }
    const std::string ofIPv6 = flaw == Flaw::WrongName ? "" : ",IP:::1";
    const KeyPointer key = MakeKey();
    const bool isExpired = flaw == Flaw::Expired;
    const CertificatePointer leaf =
        MakeCertificate("Orvantis throw-away server", key.get(), isExpired ? -3 * Day : -Hour,
                        isExpired ? -Day : 29 * Day);
    const bool isSelfSigned = flaw == Flaw::SelfSigned;
    Sign(leaf.get(), isSelfSigned ? leaf.get() : m_state->certificate.get(),
         isSelfSigned ? key.get() : m_state->key.get(),
         {{NID_basic_constraints, "critical,CA:FALSE"},
          {NID_key_usage, "critical,digitalSignature"},
          {NID_ext_key_usage, "serverAuth"},
          {NID_subject_key_identifier, "hash"},
          {NID_authority_key_identifier, "keyid"},
          {NID_subject_alt_name, FormatNames(allNames) + ofIPv6}});
    return {ToPem(leaf.get()), ToPem(key.get())};
}

const std::string& CertificateAuthority::GetCertificate() const {
    return m_state->text;
}

void CertificateAuthority::WriteCertificate(const std::string& path) const {
    std::ofstream file(std::filesystem::path(std::u8string(path.begin(), path.end())),
                       std::ios::binary);
    file << m_state->text << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write the certificate to " + path);
    }
}

}  // namespace Server
