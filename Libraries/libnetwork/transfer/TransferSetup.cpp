// What a transfer asks of libcurl.

#include "Kernel/Format.h"
#include "Network/HttpException.h"

#include "requests/Address.h"
#include "transfer/Transfer.h"

#include <algorithm>

namespace Network {

namespace {

constexpr int MaximumTimeout = 24 * 60 * 60;  // seconds; libcurl overflows for large values
constexpr long DownloadBuffer = 262'144;      // large writes for sinks that write to a disk

/// Whether `name` is one that a header may have (RFC 9110, 5.1).
bool IsHeaderName(std::string_view name) noexcept {
    constexpr std::string_view Characters =
        "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !name.empty() && name.find_first_not_of(Characters) == std::string_view::npos;
}

bool IsHeaderValue(std::string_view value) noexcept {
    return std::ranges::none_of(value, [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7F;
    });
}

/// Whether libcurl was built with HTTP/2; it refuses to be asked for it otherwise.
bool KnowsHttp2() noexcept {
    return (curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_HTTP2) != 0;
}

}  // namespace

void Transfer::SetUp() {
    m_headers = {};
    m_routes = {};
    m_errorText = {};
    m_head = {};
    m_handle = MakeCurlHandle();
    Set(CURLOPT_CURLU, m_address.get());
    Set(CURLOPT_ERRORBUFFER, m_errorText.data());
    SetUpMethod();
    SetUpHeaders();
    SetUpConnection();
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    SetUpTrust();
    SetUpCallbacks();
}

void Transfer::SetUpMethod() {
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    switch (m_request.method) {
        case Http::Method::Head:
            Set(CURLOPT_NOBODY, 1L);
            break;
        case Http::Method::Get:
            Set(CURLOPT_HTTPGET, 1L);
            break;
        case Http::Method::Post:
            Set(CURLOPT_POST, 1L);
            break;
        case Http::Method::Put:
            Set(CURLOPT_UPLOAD, 1L);
            break;
        case Http::Method::Delete:
            Set(CURLOPT_CUSTOMREQUEST, "DELETE");
            break;
    }
    if (SendsBody(m_request.method)) {
        const bool isChunked = m_request.writeBody && !m_request.writtenSize;
        m_bodySize = m_request.writeBody ? m_request.writtenSize.value_or(0)
                     : m_request.body    ? m_request.body->GetSize()
                                         : 0;
        Set(m_request.method == Http::Method::Post ? CURLOPT_POSTFIELDSIZE_LARGE
                                                   : CURLOPT_INFILESIZE_LARGE,
            isChunked ? curl_off_t{-1} : static_cast<curl_off_t>(m_bodySize));
        if (isChunked) {
            m_headers.Add("Transfer-Encoding: chunked");
        }
    }
}

void Transfer::SetUpHeaders() {
    const auto add = [this](const Kernel::String& name, const Kernel::String& value) {
        if (!IsHeaderName(name) || !IsHeaderValue(value)) {
            throw Http::Exception("a header of the request is not well-formed",
                                  Http::FailureReason::Invalid);
        }
        // libcurl omits a header without a value unless it ends in ";".
        m_headers.Add(value.empty() ? name + ";" : Kernel::Format("%1: %2", name, value));
    };
    m_headers.Add("Expect:");  // servers that ignore it cost a wait of a second
    if (m_request.fencepost == Http::Fencepost::Start) {
        Set(CURLOPT_RANGE, Kernel::Format("%1-", m_request.firstByte).c_str());
        if (!m_request.validator.empty()) {
            add("If-Range", m_request.validator);
        }
    }
    if (m_isOriginal) {  // any of them may be a key
        for (const auto& [name, value] : m_request.headers) {
            add(name, value);
        }
    }
    Set(CURLOPT_HTTPHEADER, m_headers.Get());
    // A connection of one's own is not worth the other protocol.
    Set(CURLOPT_HTTP_VERSION,
        static_cast<long>(m_request.session && KnowsHttp2() ? CURL_HTTP_VERSION_2TLS
                                                            : CURL_HTTP_VERSION_1_1));
}

void Transfer::SetUpConnection() {
    const int connectTimeout = m_request.connectTimeout.value_or(m_request.timeout);
    Set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(std::clamp(connectTimeout, 1, MaximumTimeout)));
    Set(CURLOPT_FRESH_CONNECT, m_request.session ? 0L : 1L);
    Set(CURLOPT_FORBID_REUSE, m_request.session ? 0L : 1L);
    Set(CURLOPT_NOSIGNAL, 1L);    // signal handlers belong to the host
    Set(CURLOPT_QUICK_EXIT, 1L);  // else a transfer that ends waits for servers of names
    if (m_request.method == Http::Method::Get) {
        Set(CURLOPT_BUFFERSIZE, DownloadBuffer);
    }
    if (m_settings.proxy) {
        Set(CURLOPT_PROXY, ToCurlText(*m_settings.proxy));
        Set(CURLOPT_NOPROXY, "");  // overrides no_proxy
    }
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);  // those of the proxy
    for (const Kernel::String& route : m_settings.routes) {
        m_routes.Add(route);
    }
    Set(CURLOPT_CONNECT_TO, m_routes.Get());
}

void Transfer::SetUpCallbacks() {
    Set(CURLOPT_HEADERFUNCTION, OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_WRITEFUNCTION, OnBody);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_READFUNCTION, OnRead);
    Set(CURLOPT_READDATA, this);
    Set(CURLOPT_SEEKFUNCTION, OnSeek);
    Set(CURLOPT_SEEKDATA, this);
    Set(CURLOPT_PREREQFUNCTION, OnConnected);
    Set(CURLOPT_PREREQDATA, this);
    Set(CURLOPT_OPENSOCKETFUNCTION, OnSocket);
    Set(CURLOPT_OPENSOCKETDATA, this);
}

}  // namespace Network
