#include "Network/Http.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Dispatch.h"
#include "Kernel/Format.h"

#include "http/Activity.h"
#include "requests/Address.h"
#include "transfer/Transfer.h"

#include <atomic>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace Network::Http {

namespace {

/// Makes a request and reports failures in the response. Throws only if memory runs out.
Response Perform(const Request& request, TransferHandlers handlers, AbortFlags abort) {
    Response response;
    response.reason = FailureReason::Local;
    try {
        return Transfer(request, std::move(handlers), abort).Run();
    } catch (const Exception& error) {
        response.failure = error.what();
        response.reason = error.GetReason();
    } catch (const std::exception& error) {
        response.failure = error.what();
    } catch (...) {  // a source may throw any type
        response.failure = "a callback failed";
    }
    return response;
}

void Complete(const CompletionHandler& handler, const Request& request,
              Response response) noexcept {
    try {
        if (handler) {
            handler(request, std::move(response));
        }
    } catch (const std::exception& error) {
        Kernel::Log::Write("A completion handler of a request failed: %1\n", error.what());
    } catch (...) {
        Kernel::Log::Write("A completion handler of a request failed.\n");
    }
}

/// What an asynchronous request has from its caller.
struct Order {
    Request request;
    CompletionHandler onSuccess;
    CompletionHandler onFailure;
    TransferHandlers handlers;
};

/// If `response` is no success, its `failure` says why and a line is logged, since many failure
/// handlers do not look at the response.
bool NoteFailure(const Request& request, Response& response) {
    if (response.failure.empty() && (response.status < 200 || response.status > 299)) {
        response.failure = Kernel::Format("%1: the server answers with status %2",
                                          DescribeAddress(request.address), response.status);
    }
    if (!response.failure.empty()) {
        Kernel::Log::Write("[Network] %1\n", response.failure);
    }
    return !response.failure.empty();
}

class Task : public RunningRequest {
public:
    explicit Task(Order order) : m_order(std::move(order)) { m_activity.emplace(m_isCancelled); }

    void Cancel() noexcept override { std::atomic_ref<bool>(m_isCancelled).store(true); }

    bool IsCancelled() const noexcept override {
        return std::atomic_ref<bool>(m_isCancelled).load();
    }

    void Wait() const override {
        if (m_thread.load() != std::this_thread::get_id()) {
            m_hasEnded.wait(false);
        }
    }

    void Run() noexcept {
        m_thread = std::this_thread::get_id();
        Order order = std::move(m_order);  // nothing of it outlives the request
        Response response;
        bool isSuccess = false;
        try {
            response = Perform(order.request, std::move(order.handlers), {&m_isCancelled, nullptr});
            isSuccess = !NoteFailure(order.request, response);
        } catch (...) {  // out of memory, even for the reason
        }
        Complete(isSuccess ? order.onSuccess : order.onFailure, order.request, std::move(response));
        order = {};
        End();
    }

    /// Ends a request for which there is no thread.
    void Fail(const char* reason) noexcept {
        Response response;
        response.failure = reason;
        response.reason = FailureReason::Local;
        m_thread = std::this_thread::get_id();
        Complete(m_order.onFailure, m_order.request, std::move(response));
        End();
    }

private:
    void End() noexcept {
        m_hasEnded = true;
        m_hasEnded.notify_all();
        m_thread = std::thread::id();
        m_activity.reset();
    }

    Order m_order;
    mutable bool m_isCancelled = false;
    std::atomic<bool> m_hasEnded = false;
    std::atomic<std::thread::id> m_thread;
    std::optional<Activity> m_activity;
};

}  // namespace

Response DoRequest(const Request& request, bool throwsOnFailure) {
    return DoRequest(request, throwsOnFailure, nullptr, {});
}

Response DoRequest(const Request& request, bool throwsOnFailure, const bool* abort,
                   ProgressHandler onProgress) {
    bool isCancelled = false;
    const Activity activity(isCancelled);
    Response response = Perform(request, {{}, {}, std::move(onProgress)}, {&isCancelled, abort});
    if (throwsOnFailure && !response.failure.empty()) {
        throw Exception(response.failure.c_str(), response.reason);
    }
    return response;
}

Kernel::Counted<RunningRequest> DoRequest(Request request, CompletionHandler onSuccess,
                                          CompletionHandler onFailure, ResponseHandler onResponse,
                                          StatusHandler onStatus, ProgressHandler onProgress) {
    const auto task = Kernel::MakeCounted<Task>(
        Order{std::move(request),
              std::move(onSuccess),
              std::move(onFailure),
              {std::move(onResponse), std::move(onStatus), std::move(onProgress)}});
    try {
        Kernel::Dispatch::DispatchAndForget([task] { task->Run(); },
                                            Kernel::Dispatch::Priority::Normal,
                                            Kernel::Dispatch::ThreadPurpose::Background);
    } catch (const std::system_error& error) {
        task->Fail(error.what());
    }
    return task;
}

void CancelAllRequests() {
    Activity::CancelAll();
}

}  // namespace Network::Http
