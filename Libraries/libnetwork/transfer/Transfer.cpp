#include "transfer/Transfer.h"

#include "Kernel/Format.h"
#include "Network/HttpException.h"

#include "requests/Address.h"
#include "settings/TransferSettings.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Network {

namespace {

constexpr long MaximumRedirects = 5;
constexpr std::size_t MaximumHeaderBytes = 262'144;
constexpr int MaximumTimeout = 24 * 60 * 60;  // seconds; libcurl overflows for large values
constexpr long BufferSize = 262'144;          // large writes for sinks that write to a disk

bool SendsBody(Http::Method method) noexcept {
    return method == Http::Method::Post || method == Http::Method::Put;
}

bool IsRedirectable(const Http::Request& request) noexcept {
    return request.followsRedirects &&
           (request.method == Http::Method::Get || request.method == Http::Method::Head);
}

std::string_view Trim(std::string_view text) noexcept {
    constexpr std::string_view Space = " \t\r\n";
    const std::size_t start = std::min(text.find_first_not_of(Space), text.size());
    const std::size_t end = text.find_last_not_of(Space) + 1;
    return text.substr(start, std::max(start, end) - start);
}

Kernel::String ToLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    });
    return lower;
}

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

}  // namespace

Transfer::Transfer(const Http::Request& request, TransferHandlers handlers)
    : m_request(request),
      m_handlers(std::move(handlers)),
      m_timeout(std::clamp(request.timeout, 1, MaximumTimeout)),
      m_address(ParseAddress(request)),
      m_handle(MakeCurlHandle()) {
    SetUp();
}

Http::Response Transfer::Run() {
    const CURLcode code = Guard(CURLE_ABORTED_BY_CALLBACK, [this] {
        ReportPhase(Phase::Connecting);
        return curl_easy_perform(m_handle.get());
    });
    long status = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &status);
    m_response.status = static_cast<int>(status);
    const bool isReported = Guard(false, [this, code] {
        if (code == CURLE_OK) {
            ReportResponse();
        }
        if (m_request.sink) {
            m_request.sink->Flush();
        }
        return true;
    });
    if (code != CURLE_OK || !isReported || IsLengthUnknown()) {
        m_response.failure = DescribeFailure(code);
    }
    return std::move(m_response);
}

void Transfer::SetUp() {
    Set(CURLOPT_CURLU, m_address.get());
    Set(CURLOPT_ERRORBUFFER, m_errorText.data());
    SetUpMethod();
    SetUpHeaders();
    SetUpLimits();
    SetUpTrust();
    SetUpCallbacks();
}

void Transfer::SetUpMethod() {
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_FOLLOWLOCATION, IsRedirectable(m_request) ? 1L : 0L);
    Set(CURLOPT_MAXREDIRS, MaximumRedirects);
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
        m_bodySize = m_request.body ? m_request.body->GetSize() : 0;
        Set(m_request.method == Http::Method::Post ? CURLOPT_POSTFIELDSIZE_LARGE
                                                   : CURLOPT_INFILESIZE_LARGE,
            static_cast<curl_off_t>(m_bodySize));
    }
    if (m_request.fencepost == Http::Fencepost::Start) {
        Set(CURLOPT_RANGE, Kernel::Format("%1-", m_request.firstByte).c_str());
    }
}

void Transfer::SetUpHeaders() {
    m_headers.Add("Expect:");  // servers that ignore it cost a wait of a second
    for (const auto& [name, value] : m_request.headers) {
        if (!IsHeaderName(name) || !IsHeaderValue(value)) {
            throw Http::Exception("a header of the request is not well-formed");
        }
        // libcurl omits a header without a value unless it ends in ";".
        m_headers.Add(value.empty() ? name + ";" : Kernel::Format("%1: %2", name, value));
    }
    Set(CURLOPT_HTTPHEADER, m_headers.Get());
    Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
}

void Transfer::SetUpLimits() {
    Set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(m_timeout.count()));
    Set(CURLOPT_FRESH_CONNECT, 1L);
    Set(CURLOPT_FORBID_REUSE, 1L);
    Set(CURLOPT_NOSIGNAL, 1L);  // signal handlers belong to the host
    Set(CURLOPT_BUFFERSIZE, BufferSize);
}

void Transfer::SetUpTrust() {
    const TransferSettings settings = GetTransferSettings();
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (!settings.certificateAuthorities.empty()) {
        Set(CURLOPT_CAINFO, settings.certificateAuthorities.c_str());
        Set(CURLOPT_CAPATH, nullptr);
    }
    if (settings.proxy) {
        Set(CURLOPT_PROXY, settings.proxy->c_str());
        Set(CURLOPT_NOPROXY, "");  // overrides no_proxy
    }
    for (const Kernel::String& route : settings.routes) {
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
    Set(CURLOPT_XFERINFOFUNCTION, OnProgress);
    Set(CURLOPT_XFERINFODATA, this);
    Set(CURLOPT_NOPROGRESS, 0L);
    Set(CURLOPT_PREREQFUNCTION, OnConnected);
    Set(CURLOPT_PREREQDATA, this);
}

std::size_t Transfer::OnHeader(char* data, std::size_t /*one*/, std::size_t size, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(std::size_t{0}, [&] {
        transfer.TakeHeader({data, size});
        return size;
    });
}

std::size_t Transfer::OnBody(char* data, std::size_t /*one*/, std::size_t size, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(static_cast<std::size_t>(CURL_WRITEFUNC_ERROR), [&] {
        transfer.TakeBody(std::as_bytes(std::span(data, size)));
        return size;
    });
}

std::size_t Transfer::OnRead(char* data, std::size_t /*one*/, std::size_t size, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(static_cast<std::size_t>(CURL_READFUNC_ABORT), [&] {
        return transfer.GiveBody(std::as_writable_bytes(std::span(data, size)));
    });
}

int Transfer::OnSeek(void* self, curl_off_t position, int origin) {
    static_cast<Transfer*>(self)->m_bodyPosition = static_cast<std::uint64_t>(position);
    return origin == SEEK_SET ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

int Transfer::OnProgress(void* self, curl_off_t toReceive, curl_off_t received, curl_off_t toSend,
                         curl_off_t sent) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(1, [&] {
        transfer.ReportProgress(
            {static_cast<std::uint64_t>(received), static_cast<std::uint64_t>(toReceive),
             static_cast<std::uint64_t>(sent), static_cast<std::uint64_t>(toSend)});
        return 0;
    });
}

int Transfer::OnConnected(void* self, char* /*peer*/, char* /*own*/, int /*peerPort*/,
                          int /*ownPort*/) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(CURL_PREREQFUNC_ABORT, [&] {
        transfer.CheckRedirect();
        transfer.ReportPhase(Phase::Waiting);
        transfer.m_lastActivity = Clock::now();
        return CURL_PREREQFUNC_OK;
    });
}

void Transfer::ReportPhase(Phase phase) {
    if (!m_handlers.onStatus) {
        return;
    }
    const char* const text = phase == Phase::Connecting ? "Connecting to the server..."
                             : phase == Phase::Waiting  ? "Waiting for the server..."
                                                        : "Receiving...";
    m_handlers.onStatus(Kernel::LocalisedString("Network", text));
}

/// Throws for a redirect from https to http.
void Transfer::CheckRedirect() {
    const char* address = "";
    curl_easy_getinfo(m_handle.get(), CURLINFO_EFFECTIVE_URL, &address);
    const bool isEncrypted = ToLower(std::string_view(address).substr(0, 6)) == "https:";
    if (m_isEncrypted && !isEncrypted) {
        throw Http::Exception("the server redirects from https to http");
    }
    m_isEncrypted = isEncrypted;
}

/// Calls the response handler, once.
void Transfer::ReportResponse() {
    if (!std::exchange(m_isResponseReported, true) && m_handlers.onResponse) {
        m_handlers.onResponse();
    }
}

/// Stores one header line. Each response of a chain of redirects replaces the headers.
void Transfer::TakeHeader(std::string_view line) {
    m_lastActivity = Clock::now();
    m_headerBytes += line.size();
    if (m_headerBytes > MaximumHeaderBytes) {
        throw Http::Exception("the server sends too many headers");
    }
    if (line.starts_with("HTTP/")) {
        m_response.headers.clear();
        return;
    }
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos) {
        m_response.headers[ToLower(Trim(line.substr(0, colon)))] = Trim(line.substr(colon + 1));
    }
}

void Transfer::TakeBody(std::span<const std::byte> bytes) {
    if (!m_isResponseReported) {
        ReportPhase(Phase::Receiving);
        ReportResponse();
    }
    if (m_request.sink) {
        m_request.sink->Write(bytes);
    }
}

/// Calls the progress handler, and throws after a timeout of inactivity: libcurl calls at least
/// once a second. Its own limit (CURLOPT_LOW_SPEED_TIME) works on a mean of several seconds: late
/// for a server that stalls, and wrong for one that is slow but steady.
void Transfer::ReportProgress(const Http::ProgressInformation& progress) {
    const bool isNew = progress.received != m_progress.received || progress.sent != m_progress.sent;
    m_progress = progress;
    if (m_handlers.onProgress) {
        m_handlers.onProgress(progress);
    }
    if (isNew) {
        m_lastActivity = Clock::now();
    } else if (m_lastActivity && Clock::now() - *m_lastActivity > m_timeout) {
        throw Http::Exception("the server neither sends nor takes anything");
    }
}

std::size_t Transfer::GiveBody(std::span<std::byte> buffer) {
    const std::uint64_t rest = m_bodySize - m_bodyPosition;
    if (rest == 0) {
        return 0;
    }
    // Not more than Content-Length: the server would parse the rest as another request.
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), rest));
    const std::size_t count = m_request.body->Read(m_bodyPosition, buffer.first(wanted));
    if (count == 0) {
        throw Http::Exception("the request's body is shorter than it said");
    }
    m_bodyPosition += count;
    return count;
}

/// Whether the response has neither Content-Length nor chunked encoding, but should.
bool Transfer::IsLengthUnknown() const {
    const bool hasNoBody = m_request.method == Http::Method::Head || m_response.status == 204 ||
                           m_response.status == 304;
    if (m_request.allowsUnknownLength || hasNoBody) {
        return false;
    }
    // Not by the header alone: its value may be out of range.
    curl_off_t length = -1;
    curl_easy_getinfo(m_handle.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const auto encoding = m_response.headers.find("transfer-encoding");
    const bool isChunked = encoding != m_response.headers.end() &&
                           std::string_view(ToLower(encoding->second)).ends_with("chunked");
    return length < 0 && !isChunked;
}

Kernel::String Transfer::DescribeFailure(CURLcode code) const {
    const auto describe = [&]() -> Kernel::String {
        if (m_thrown) {
            try {
                std::rethrow_exception(m_thrown);
            } catch (const std::exception& error) {
                return error.what();
            } catch (...) {
                return "a callback failed";
            }
        }
        if (code == CURLE_OK) {
            return "the server does not say how long its response is";
        }
        return m_errorText[0] != '\0' ? m_errorText.data() : curl_easy_strerror(code);
    };
    return Kernel::Format("%1: %2", DescribeAddress(m_request.address), describe());
}

template <class Answer, class Call>
Answer Transfer::Guard(Answer failed, Call call) noexcept {
    if (m_thrown) {
        return failed;
    }
    try {
        return call();
    } catch (...) {  // of any type: stored, since it must not cross C frames
        m_thrown = std::current_exception();
        return failed;
    }
}

template <class Option, class Value>
void Transfer::Set(Option option, Value value) {
    const CURLcode code = curl_easy_setopt(m_handle.get(), option, value);
    if (code != CURLE_OK) {
        throw Http::Exception(curl_easy_strerror(code));
    }
}

}  // namespace Network
