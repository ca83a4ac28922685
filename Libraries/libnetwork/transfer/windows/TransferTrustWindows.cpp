// What a transfer trusts, by Windows: the certificates that it has for the user, or those of a
// file.

#include "Kernel/FileStreams.h"
#include "Kernel/Format.h"
#include "Kernel/IoException.h"

#include "requests/Address.h"
#include "transfer/Transfer.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Network {

namespace {

constexpr std::uint64_t MaximumSize = std::uint64_t{16} << 20;

std::string ReadAuthorities(const Kernel::String& path) {
    const auto file = Kernel::FileInStream::Open(path);
    std::string text;
    if (const std::uint64_t size = file->GetSize(); size <= MaximumSize) {
        text.resize(static_cast<std::size_t>(size));
        text.resize(file->ReadFully(std::as_writable_bytes(std::span(text))));
    }
    if (text.find("-----BEGIN CERTIFICATE-----") == std::string::npos) {
        throw Kernel::IoException(
            Kernel::Format("the certificate authorities in %1 can't be read", path).c_str());
    }
    return text;
}

}  // namespace

void Transfer::SetUpTrust() {
    const Kernel::String& file = m_settings.certificateAuthorities;
    // Where an authority can't be asked whether it has withdrawn a certificate, that is good; those
    // of a file are not asked at all, as on other systems.
    const long checks = file.empty() ? CURLSSLOPT_REVOKE_BEST_EFFORT : CURLSSLOPT_NO_REVOKE;
    Set(CURLOPT_SSL_OPTIONS, checks);
    Set(CURLOPT_PROXY_SSL_OPTIONS, checks);
    const bool isEncrypted =
        IsEncrypted(m_address) ||
        (m_settings.proxy && std::string_view(*m_settings.proxy).starts_with("https:"));
    if (!file.empty() && isEncrypted) {
        std::string text = ReadAuthorities(file);
        const curl_blob blob{text.data(), text.size(), CURL_BLOB_COPY};
        Set(CURLOPT_CAINFO_BLOB, &blob);
        Set(CURLOPT_PROXY_CAINFO_BLOB, &blob);
    }
}

/// What tells the connections apart that this request may use from those that it may not. libcurl
/// looks after all the rest, as the way through proxies. No encrypted one is kept.
Kernel::String Transfer::DescribeConnection() const {
    return GetOrigin(m_address);
}

}  // namespace Network
