// One HTTP transfer, from its request to its end.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Network/HttpException.h"
#include "Network/HttpHandlers.h"
#include "Network/HttpProgress.h"
#include "Network/HttpRequest.h"

#include "curl/Curl.h"
#include "settings/TransferSettings.h"
#include "transfer/ResponseHead.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string_view>
#include <vector>

namespace Network {

/// The callbacks of a running transfer; each may be empty.
struct TransferHandlers {
    Http::ResponseHandler onResponse;
    Http::StatusHandler onStatus;
    Http::ProgressHandler onProgress;
};

inline bool SendsBody(Http::Method method) noexcept {
    return method == Http::Method::Post || method == Http::Method::Put;
}

/// Flags that end a transfer once one of them is set.
struct AbortFlags {
    Kernel::AbortFlag own = nullptr;
    Kernel::AbortFlag callers = nullptr;
};

/// Runs one request on the calling thread, over as many connections as redirects need.
///
/// libcurl calls back into this object through C frames, which exceptions must not cross: an
/// exception from a handler, source or sink is stored, ends the transfer and becomes the reason of
/// its failure.
class Transfer {
public:
    /// Fails within 100 ms of an abort, unless it is a handler, source or sink that takes longer.
    /// Throws Http::Exception for an invalid address or header, before anything is sent.
    Transfer(const Http::Request& request, TransferHandlers handlers, AbortFlags abort);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// Makes the request. Failures are reported by `failure` of the response.
    Http::Response Run();

private:
    using Clock = std::chrono::steady_clock;  // not Kernel::Clock: servers run in real time

    enum class Phase { Connecting, Waiting, Receiving };

    // Options of libcurl for the next connection.
    void SetUp();
    void SetUpMethod();
    void SetUpHeaders();
    void SetUpConnection();
    void SetUpTrust();
    void SetUpCallbacks();
    Kernel::String DescribeConnection() const;

    // Callbacks of libcurl; `self` is the transfer.
    static std::size_t OnHeader(char* data, std::size_t one, std::size_t size, void* self);
    static std::size_t OnBody(char* data, std::size_t one, std::size_t size, void* self);
    static std::size_t OnRead(char* data, std::size_t one, std::size_t size, void* self);
    static int OnSeek(void* self, curl_off_t position, int origin);
    static int OnConnected(void* self, char* peer, char* own, int peerPort, int ownPort);
    static curl_socket_t OnSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static CURLcode OnEncryption(CURL* handle, void* context, void* self);  // of OpenSSL

    void Follow(int redirects);
    CURLcode RunOnce();
    CURLcode RunInSession();
    CURLcode Drive(CURLM* driver);
    void NoteConnection();
    bool Step();
    void GatherBody();
    void WriteBody();
    void SendPiece(std::span<const std::byte> piece);
    bool IsBodyGiven() const noexcept;
    void NoteProgress();
    void CheckAbort() const;
    void CheckSilence() const;

    bool TakeHeader(std::string_view line);
    bool IsPart() const noexcept;
    void CheckRange() const;
    void CheckLength() const;
    void TakeBody(std::span<const std::byte> bytes);
    std::size_t GiveBody(std::span<std::byte> buffer);
    std::size_t GivePiece(std::span<std::byte> buffer);
    void ReportPhase(Phase phase);
    void ReportResponse();
    void ReportProgress();

    void NoteFailure(CURLcode code);
    Kernel::String Describe(CURLcode code) const;

    /// Runs `call` for a callback of libcurl and returns its result; `failed` if it throws.
    template <class Answer, class Call>
    Answer Guard(Answer failed, Call call) noexcept;
    template <class Option, class Value>
    void Set(Option option, Value value);

    const Http::Request& m_request;
    const TransferHandlers m_handlers;
    const AbortFlags m_abort;
    const TransferSettings m_settings = GetTransferSettings();
    CurlAddress m_address;
    bool m_isOriginal = true;  // no redirect has led to another origin

    // Of one connection.
    CurlList m_headers;
    CurlList m_routes;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
    CurlHandle m_handle;
    ResponseHead m_head;
    CURLM* m_driver = nullptr;                     // while the connection is used
    curl_socket_t m_openSocket = CURL_SOCKET_BAD;  // of a connection that stays open in the end
    const void* m_encryption = nullptr;            // of the connection, as what encrypts has it
    bool m_isFramed = false;                       // it speaks HTTP/2
    bool m_isConnected = false;
    long m_sentBefore = 0;                  // bytes of heads, before the request is sent (again)
    std::chrono::nanoseconds m_silence{0};  // waited for since the last byte

    Http::Response m_response;
    Kernel::String m_redirect;
    Http::ProgressInformation m_progress;
    Http::ProgressInformation m_reportedProgress;
    Clock::time_point m_reportTime;
    std::uint64_t m_bodySize = 0;  // 0 while it is unknown
    std::uint64_t m_bodyPosition = 0;
    std::vector<std::byte> m_shortBody;  // the whole of it, if it goes with the head
    std::span<const std::byte> m_piece;  // of a body that is being written
    bool m_isBodyWritten = false;
    bool m_isPaused = false;  // until there is a piece
    bool m_isResponseReported = false;
    std::exception_ptr m_thrown;
};

template <class Option, class Value>
void Transfer::Set(Option option, Value value) {
    const CURLcode code = curl_easy_setopt(m_handle.get(), option, value);
    if (code != CURLE_OK) {
        throw Http::Exception(curl_easy_strerror(code), Http::FailureReason::Local);
    }
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

}  // namespace Network
