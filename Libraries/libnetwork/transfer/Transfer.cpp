#include "transfer/Transfer.h"

#include "Kernel/Format.h"
#include "Network/HttpException.h"

#include "requests/Address.h"
#include "requests/Failure.h"
#include "sessions/ConnectionPool.h"
#include "transfer/Secrets.h"
#include "trust/Encryption.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace Network {

namespace {

using namespace std::chrono_literals;

constexpr const char* LostAnswer = "the server has closed the connection without an answer";
constexpr int MaximumRedirects = 5;
constexpr auto ReportInterval = 1s;
constexpr auto LookInterval = 50ms;  // at the flag that aborts

bool IsRedirectable(const Http::Request& request) noexcept {
    return request.followsRedirects &&
           (request.method == Http::Method::Get || request.method == Http::Method::Head);
}

Http::FailureReason Classify(CURLcode code) noexcept {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
            return Http::FailureReason::Unreachable;
        case CURLE_OPERATION_TIMEDOUT:
            return Http::FailureReason::TimedOut;
        case CURLE_SSL_CONNECT_ERROR:  // no handshake: what answers may speak without encryption
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_WEIRD_SERVER_REPLY:
            return Http::FailureReason::WrongProtocol;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
            return Http::FailureReason::Untrusted;
        default:
            return Http::FailureReason::Broken;
    }
}

/// Adds a handle to its driver while it lives.
class Attachment {
public:
    Attachment(CURLM* driver, CURL* handle) : m_driver(driver), m_handle(handle) {
        if (curl_multi_add_handle(driver, handle) != CURLM_OK) {
            throw std::bad_alloc();
        }
    }
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;
    ~Attachment() { curl_multi_remove_handle(m_driver, m_handle); }

private:
    CURLM* m_driver;
    CURL* m_handle;
};

}  // namespace

Transfer::Transfer(const Http::Request& request, TransferHandlers handlers, AbortFlags abort)
    : m_request(request),
      m_handlers(std::move(handlers)),
      m_abort(abort),
      m_address(ParseAddress(request)) {
    SetUp();
}

Http::Response Transfer::Run() {
    CURLcode code = CURLE_ABORTED_BY_CALLBACK;
    Guard(false, [&] {
        GatherBody();
        ReportPhase(Phase::Connecting);
        code = RunOnce();
        for (int redirects = 1; !m_redirect.empty(); ++redirects) {
            Follow(redirects);
            code = RunOnce();
        }
        return true;
    });
    long status = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &status);
    m_response.status = static_cast<int>(status);
    m_response.headers = m_head.GetFields();
    Guard(false, [&] {
        if (code == CURLE_OK) {
            ReportResponse();
        }
        if (m_request.sink) {
            m_request.sink->Flush();
        }
        if (code == CURLE_OK) {
            CheckLength();
        }
        return true;
    });
    if (code != CURLE_OK || m_thrown) {
        NoteFailure(code);
    }
    return std::move(m_response);
}

/// Goes where a redirect leads: from the second time on to another server, which is to learn no
/// more than any server does.
void Transfer::Follow(int redirects) {
    if (redirects > MaximumRedirects) {
        throw Http::Exception(
            Kernel::Format("the server redirects more than %1 times", MaximumRedirects).c_str());
    }
    CurlAddress target = ResolveRedirect(m_address, std::exchange(m_redirect, {}));
    if (IsEncrypted(m_address) && !IsEncrypted(target)) {
        throw Http::Exception("the server redirects from https to http");
    }
    m_isOriginal = m_isOriginal && HasSameOrigin(m_address, target);
    m_address = std::move(target);
    SetUp();
}

/// Makes one exchange with a server.
CURLcode Transfer::RunOnce() {
    const CURLcode code = m_request.session ? RunInSession() : Drive(MakeCurlDriver().get());
    if (m_thrown) {
        std::rethrow_exception(std::exchange(m_thrown, nullptr));
    }
    return m_redirect.empty() ? code : CURLE_OK;  // the body of a redirect is cut off
}

/// Makes the exchange over a connection that the session has, if possible, and leaves it there.
CURLcode Transfer::RunInSession() {
    ConnectionPool& pool = *m_request.session->m_pool;
    const Kernel::String purpose = DescribeConnection();
    CurlDriver driver = pool.Take(purpose);
    const CURLcode code = Drive(driver.get());
    // In HTTP/2 what comes says what it belongs to. In HTTP/1.1 it would be taken for the answer to
    // the next request, and what TLS holds of it can't be seen on the socket.
    if (code == CURLE_OK && !m_thrown && m_openSocket != CURL_SOCKET_BAD &&
        (m_isFramed || !HasUnread(m_encryption))) {
        pool.Give(purpose,
                  {std::move(driver), m_isFramed ? curl_socket_t{CURL_SOCKET_BAD} : m_openSocket});
    }
    return code;
}

CURLcode Transfer::Drive(CURLM* driver) {
    const Attachment attachment(driver, m_handle.get());
    m_driver = driver;
    m_isConnected = false;
    if (m_request.writeBody && SendsBody(m_request.method)) {
        WriteBody();
    }
    while (Step()) {
    }
    curl_easy_getinfo(m_handle.get(), CURLINFO_ACTIVESOCKET, &m_openSocket);
    int left = 0;
    const CURLMsg* const message = curl_multi_info_read(driver, &left);
    return message != nullptr ? message->data.result : CURLE_ABORTED_BY_CALLBACK;
}

/// Lets libcurl do what it can at once, and then waits until it can do more, unless it is a piece
/// of the body that it needs. False once the exchange has ended.
bool Transfer::Step() {
    int running = 0;
    const CURLMcode code = curl_multi_perform(m_driver, &running);
    if (code != CURLM_OK) {
        throw Http::Exception(curl_multi_strerror(code));
    }
    NoteProgress();
    if (running == 0 || m_thrown) {
        return false;
    }
    CheckAbort();
    CheckSilence();
    if (!m_isPaused) {
        const auto start = Clock::now();
        curl_multi_poll(m_driver, nullptr, 0, static_cast<int>(LookInterval.count()), nullptr);
        m_silence += Clock::now() - start;
    }
    return true;
}

/// Takes note of what libcurl has sent, and reports what has changed, or what has not for a second.
void Transfer::NoteProgress() {
    curl_off_t sent = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
    if (static_cast<std::uint64_t>(sent) != m_progress.sent) {
        m_progress.sent = static_cast<std::uint64_t>(sent);
        m_silence = {};
    }
    m_progress.totalToSend = m_bodySize;
    if (!m_thrown) {
        ReportProgress();
    }
}

void Transfer::ReportProgress() {
    const auto now = Clock::now();
    if (!m_handlers.onProgress ||
        (m_progress == m_reportedProgress && now - m_reportTime < ReportInterval)) {
        return;
    }
    m_reportTime = now;
    m_reportedProgress = m_progress;
    m_handlers.onProgress(m_progress);
}

void Transfer::CheckAbort() const {
    if (Kernel::IsSet(m_abort.own) || Kernel::IsSet(m_abort.callers)) {
        throw Http::Exception("the request was cancelled", Http::FailureReason::Cancelled);
    }
}

/// Throws after a time limit without a byte. libcurl's own limit (CURLOPT_LOW_SPEED_TIME) works on
/// a mean of several seconds: late for a server that stalls, and wrong for one that is slow but
/// steady.
void Transfer::CheckSilence() const {
    const bool isThinking = IsBodyGiven() && m_progress.sent >= m_bodyPosition && !m_head.IsFinal();
    const int limit = isThinking ? m_request.replyTimeout : m_request.timeout;
    if (m_isConnected && m_silence > std::chrono::seconds(std::max(limit, 1))) {
        throw Http::Exception("the server neither sends nor takes anything",
                              Http::FailureReason::TimedOut);
    }
}

std::size_t Transfer::OnHeader(char* data, std::size_t /*one*/, std::size_t size, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(std::size_t{0}, [&] {
        return transfer.TakeHeader({data, size}) ? size : 0;
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

/// Called before a request is repeated (see OnConnected()), always for the start of its body.
int Transfer::OnSeek(void* self, curl_off_t position, int /*origin*/) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(CURL_SEEKFUNC_FAIL, [&] {
        if (transfer.m_request.writeBody) {
            throw Http::Exception(LostAnswer);
        }
        transfer.m_bodyPosition = static_cast<std::uint64_t>(position);
        return CURL_SEEKFUNC_OK;
    });
}

/// Called before the request is sent: again if libcurl repeats it over another connection, since
/// one that a session had kept was closed. What must not be done twice isn't sent twice.
int Transfer::OnConnected(void* self, char* /*peer*/, char* /*own*/, int /*peerPort*/,
                          int /*ownPort*/) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.Guard(CURL_PREREQFUNC_ABORT, [&] {
        transfer.NoteConnection();
        transfer.ReportPhase(Phase::Waiting);
        transfer.m_isConnected = true;
        transfer.m_silence = {};
        return CURL_PREREQFUNC_OK;
    });
}

/// Throws if there was one before, and a Post may have been sent over it.
void Transfer::NoteConnection() {
    long sent = 0;  // to proxies, too
    curl_easy_getinfo(m_handle.get(), CURLINFO_REQUEST_SIZE, &sent);
    if (m_isConnected && sent > m_sentBefore && m_request.method == Http::Method::Post) {
        throw Http::Exception(LostAnswer);
    }
    m_sentBefore = sent;
    const curl_tlssessioninfo* encryption = nullptr;
    curl_easy_getinfo(m_handle.get(), CURLINFO_TLS_SSL_PTR, &encryption);
    m_encryption = encryption != nullptr ? encryption->internals : nullptr;
    m_isFramed = SpeaksHttp2(m_encryption);
}

curl_socket_t Transfer::OnSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
    return static_cast<Transfer*>(self)->Guard(curl_socket_t{CURL_SOCKET_BAD},
                                               [&] { return OpenSocket(*address); });
}

void Transfer::ReportPhase(Phase phase) {
    if (!m_handlers.onStatus) {
        return;
    }
    using Kernel::LocalisedString;
    m_handlers.onStatus(
        phase == Phase::Connecting ? LocalisedString("Network", "Connecting to the server...")
        : phase == Phase::Waiting  ? LocalisedString("Network", "Waiting for the server...")
                                   : LocalisedString("Network", "Receiving..."));
}

/// Calls the response handler, once.
void Transfer::ReportResponse() {
    if (!std::exchange(m_isResponseReported, true) && m_handlers.onResponse) {
        m_handlers.onResponse();
    }
}

/// Takes a line of the head; false if this is a redirect, whose body nothing is to wait for.
bool Transfer::TakeHeader(std::string_view line) {
    const bool isComplete = m_head.Take(line);
    if (m_head.IsFinal()) {  // else the server goes on thinking, however often it says so
        m_silence = {};
    }
    if (isComplete) {
        if (IsRedirectable(m_request)) {
            m_redirect = m_head.GetRedirect();
        }
        CheckRange();
        curl_off_t total = 0;
        curl_easy_getinfo(m_handle.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &total);
        m_progress.totalToReceive = static_cast<std::uint64_t>(std::max<curl_off_t>(total, 0));
    }
    return m_redirect.empty();
}

/// Whether the response says that it is a part of a document. To a request that sends one, 206
/// means no more than any other status.
bool Transfer::IsPart() const noexcept {
    return m_head.GetStatus() == 206 && !SendsBody(m_request.method);
}

/// Throws for a response that holds something else than what was asked for, before a byte of it
/// reaches the sink.
void Transfer::CheckRange() const {
    const bool isPart = IsPart();
    if (m_request.fencepost == Http::Fencepost::None) {
        if (isPart) {
            throw Http::Exception("the server sends a part, which was not asked for");
        }
    } else if (isPart) {
        const auto range = m_head.GetRange();
        if (!range || range->first != m_request.firstByte ||
            range->last + 1 != range->size.value_or(range->last + 1)) {
            throw Http::Exception("the server sends another part than was asked for");
        }
    } else if (m_head.GetStatus() == 200 && m_request.firstByte > 0) {
        throw Http::Exception(m_request.validator.empty()
                                  ? "the server sends the whole instead of a part"
                                  : "the document has changed since its first part was received");
    }
}

void Transfer::TakeBody(std::span<const std::byte> bytes) {
    CheckAbort();
    m_silence = {};
    if (!m_isResponseReported) {
        ReportPhase(Phase::Receiving);
        ReportResponse();
    }
    const bool isPartOnly = m_request.fencepost == Http::Fencepost::Start;
    const bool isWanted = !isPartOnly || m_head.GetStatus() == 200 || m_head.GetStatus() == 206;
    if (m_request.sink && isWanted) {
        m_request.sink->Write(bytes);
    }
    m_progress.received += bytes.size();
    ReportProgress();
}

/// Throws if the end of the body can't be told from a lost connection, or is not that of the range.
void Transfer::CheckLength() const {
    const int status = m_head.GetStatus();
    if (m_request.method == Http::Method::Head || status == 204 || status == 304) {
        return;
    }
    const auto range = m_head.GetRange();
    if (IsPart() && range && m_progress.received != range->last + 1 - range->first) {
        throw Http::Exception("the server sends a part of another size than it says");
    }
    // Not by the header alone: its value may be out of range.
    curl_off_t length = -1;
    curl_easy_getinfo(m_handle.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const bool isEndMarked = m_isFramed || m_head.IsChunked();
    if (length < 0 && !isEndMarked && !m_request.allowsUnknownLength) {
        throw Http::Exception("the server does not say how long its response is");
    }
}

void Transfer::NoteFailure(CURLcode code) {
    m_response.reason = Classify(code);
    Kernel::String text = Describe(code);
    if (m_thrown) {
        text = NoteThrown(m_thrown, m_response);
    }
    m_response.failure = Kernel::Format("%1: %2", DescribeAddress(m_request.address), text);
}

/// libcurl's text, unless it repeats something that nobody else may read.
Kernel::String Transfer::Describe(CURLcode code) const {
    const char* const text = m_errorText.data();
    const bool isUsable = *text != '\0' && !ContainsSecret(text, m_request, m_settings);
    return isUsable ? text : curl_easy_strerror(code);
}

}  // namespace Network
