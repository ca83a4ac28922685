#include "transfer/Secrets.h"

#include "Kernel/Environment.h"

#include "curl/Curl.h"

#include <array>
#include <string>
#include <vector>

namespace Network {

namespace {

// Shorter values, such as "1", are no keys, and may be part of any text.
constexpr std::size_t ShortestValue = 4;

/// The environment variables that libcurl reads; HTTP_PROXY is not among them.
constexpr std::array ProxyVariables{"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                    "ALL_PROXY"};

using Texts = std::vector<std::string>;

void AddWithDecoded(Texts& secrets, std::string_view text) {
    secrets.emplace_back(text);
    int size = 0;
    const CurlText decoded(
        curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &size));
    if (decoded) {
        secrets.emplace_back(decoded.get(), static_cast<std::size_t>(size));
    }
}

/// Adds what stands before the last "@" of an address, well-formed or not: all of it, and the
/// password alone.
void AddUserAndPassword(Texts& secrets, std::string_view address) {
    const std::size_t end = address.rfind('@');
    if (end == std::string_view::npos) {
        return;
    }
    const std::size_t scheme = address.find("//");
    const std::size_t start = scheme < end ? scheme + 2 : 0;
    const std::string_view both = address.substr(start, end - start);
    AddWithDecoded(secrets, both);
    AddWithDecoded(secrets, both.substr(both.find(':') + 1));
}

Texts Collect(const Http::Request& request, const TransferSettings& settings) {
    Texts secrets;
    AddUserAndPassword(secrets, request.address);
    if (settings.proxy) {
        AddUserAndPassword(secrets, *settings.proxy);
    } else {
        for (const char* const name : ProxyVariables) {
            AddUserAndPassword(secrets, Kernel::GetEnv(name).value_or(""));
        }
    }
    for (const Http::Fields* const fields : {&request.headers, &request.parameters}) {
        for (const auto& [name, value] : *fields) {
            if (value.size() >= ShortestValue) {
                AddWithDecoded(secrets, value);
            }
        }
    }
    return secrets;
}

}  // namespace

bool ContainsSecret(std::string_view text, const Http::Request& request,
                    const TransferSettings& settings) {
    for (const std::string& secret : Collect(request, settings)) {
        if (!secret.empty() && text.find(secret) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace Network
