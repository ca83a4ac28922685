// One HTTP transfer, from its request to its end.

#pragma once

#include "Network/HttpHandlers.h"
#include "Network/HttpProgress.h"
#include "Network/HttpRequest.h"

#include "curl/Curl.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>

namespace Network {

/// The callbacks of a running transfer; each may be empty.
struct TransferHandlers {
    Http::ResponseHandler onResponse;
    Http::StatusHandler onStatus;
    Http::ProgressHandler onProgress;
};

/// Runs one request on the calling thread.
///
/// libcurl calls back into this object through C frames, which exceptions must not cross: an
/// exception from a handler, source or sink is stored, ends the transfer and becomes the reason of
/// its failure.
class Transfer {
public:
    /// Throws Http::Exception for an invalid address or header, before anything is sent.
    Transfer(const Http::Request& request, TransferHandlers handlers);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// Makes the request. Failures are reported by `failure` of the response.
    Http::Response Run();

private:
    using Clock = std::chrono::steady_clock;  // not Kernel::Clock: servers run in real time

    enum class Phase { Connecting, Waiting, Receiving };

    void SetUp();
    void SetUpMethod();
    void SetUpHeaders();
    void SetUpLimits();
    void SetUpTrust();
    void SetUpCallbacks();

    // Callbacks of libcurl; `self` is the transfer.
    static std::size_t OnHeader(char* data, std::size_t one, std::size_t size, void* self);
    static std::size_t OnBody(char* data, std::size_t one, std::size_t size, void* self);
    static std::size_t OnRead(char* data, std::size_t one, std::size_t size, void* self);
    static int OnSeek(void* self, curl_off_t position, int origin);
    static int OnProgress(void* self, curl_off_t toReceive, curl_off_t received, curl_off_t toSend,
                          curl_off_t sent);
    static int OnConnected(void* self, char* peer, char* own, int peerPort, int ownPort);

    void ReportPhase(Phase phase);
    void CheckRedirect();
    void ReportResponse();
    void TakeHeader(std::string_view line);
    void TakeBody(std::span<const std::byte> bytes);
    void ReportProgress(const Http::ProgressInformation& progress);
    std::size_t GiveBody(std::span<std::byte> buffer);

    bool IsLengthUnknown() const;
    Kernel::String DescribeFailure(CURLcode code) const;

    /// Runs `call` for a callback of libcurl and returns its result; `failed` if it throws.
    template <class Answer, class Call>
    Answer Guard(Answer failed, Call call) noexcept;
    template <class Option, class Value>
    void Set(Option option, Value value);

    const Http::Request& m_request;
    const TransferHandlers m_handlers;
    const std::chrono::seconds m_timeout;
    CurlAddress m_address;
    CurlList m_headers;
    CurlList m_routes;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
    CurlHandle m_handle;  // refers to all of the above

    Http::Response m_response;
    Http::ProgressInformation m_progress;
    std::size_t m_headerBytes = 0;
    std::uint64_t m_bodySize = 0;
    std::uint64_t m_bodyPosition = 0;
    std::optional<Clock::time_point> m_lastActivity;  // once connected
    bool m_isResponseReported = false;
    bool m_isEncrypted = false;
    std::exception_ptr m_thrown;
};

}  // namespace Network
