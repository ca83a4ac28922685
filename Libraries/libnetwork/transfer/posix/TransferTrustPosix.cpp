// What a transfer trusts, by OpenSSL.

#include "Kernel/FileSystem.h"
#include "Kernel/Format.h"

#include "requests/Address.h"
#include "transfer/Transfer.h"
#include "trust/posix/TrustStore.h"

namespace Network {

namespace {

/// The authorities of the file that is set, or of the system as libcurl was built for it.
Authorities FindAuthorities(const Kernel::String& file) {
    if (!file.empty()) {
        return {file, {}};
    }
    const curl_version_info_data& built = *curl_version_info(CURLVERSION_NOW);
    if (built.cainfo != nullptr && Kernel::FileSystem::Exists(built.cainfo)) {
        return {built.cainfo, {}};
    }
    return {{}, built.capath};
}

}  // namespace

void Transfer::SetUpTrust() {
    for (const CURLoption option :
         {CURLOPT_CAINFO, CURLOPT_CAPATH, CURLOPT_PROXY_CAINFO, CURLOPT_PROXY_CAPATH}) {
        Set(option, nullptr);  // they would be parsed for each connection
    }
    Set(CURLOPT_SSL_CTX_FUNCTION, OnEncryption);
    Set(CURLOPT_SSL_CTX_DATA, this);
}

/// What tells the connections apart that this request may use from those that it may not. libcurl
/// looks after all the rest, as the way through proxies.
Kernel::String Transfer::DescribeConnection() const {
    const Kernel::String origin = GetOrigin(m_address);
    return IsEncrypted(m_address)
               ? origin + " " + DescribeState(FindAuthorities(m_settings.certificateAuthorities))
               : origin;
}

/// Gives a new encrypted connection the authorities to trust.
CURLcode Transfer::OnEncryption(CURL* /*handle*/, void* context, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(CURLE_ABORTED_BY_CALLBACK, [&] {
        SetTrust(context, FindAuthorities(transfer.m_settings.certificateAuthorities));
        return CURLE_OK;
    });
}

}  // namespace Network
