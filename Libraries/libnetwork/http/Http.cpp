#include "Network/Http.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Format.h"

#include "http/Activity.h"
#include "requests/Address.h"
#include "requests/Failure.h"
#include "transfer/Transfer.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace Network::Http {

namespace {

/// Makes a request and reports failures in the response. Throws only if memory runs out.
Response Perform(const Request& request, TransferHandlers handlers, AbortFlags abort) {
    try {
        return Transfer(request, std::move(handlers), abort).Run();
    } catch (...) {
        Response response;
        response.failure = NoteThrown(std::current_exception(), response);
        return response;
    }
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
    explicit Task(Order order)
        : m_order(std::move(order)), m_activity(std::make_unique<Activity>(m_isCancelled)) {}

    void Start() {
        m_activity->Start([self = Kernel::Counted<Task>::Share(this)] { self->Run(); });
    }

    void Cancel() noexcept override { m_isCancelled = true; }

    bool IsCancelled() const noexcept override { return m_isCancelled; }

    void Wait() const override {
        if (m_thread.load() != std::this_thread::get_id()) {
            std::unique_lock lock(m_mutex);
            m_ended.wait(lock, [this] { return m_hasEnded; });
        }
    }

    /// Ends a request for which there is no thread.
    void Fail(const std::exception_ptr& reason) noexcept {
        Response response;
        response.failure = NoteThrown(reason, response);
        NoteFailure(m_order.request, response);
        m_thread = std::this_thread::get_id();
        Complete(m_order.onFailure, m_order.request, std::move(response));
        m_activity = nullptr;
        End();
    }

private:
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
        std::unique_ptr<Activity> activity = std::move(m_activity);
        End();
        Activity::Leave(std::move(activity));
    }

    void End() noexcept {
        {
            const std::lock_guard lock(m_mutex);
            m_hasEnded = true;
            m_ended.notify_all();
        }
        m_thread = std::thread::id();
    }

    Order m_order;
    std::atomic<bool> m_isCancelled = false;
    // Deliberate: not the waits of std::atomic, which with GCC 12 on Windows may never end.
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_ended;
    bool m_hasEnded = false;
    std::atomic<std::thread::id> m_thread;
    std::unique_ptr<Activity> m_activity;
};

}  // namespace

Response DoRequest(const Request& request, bool throwsOnFailure) {
    return DoRequest(request, throwsOnFailure, nullptr, {});
}

Response DoRequest(const Request& request, bool throwsOnFailure, Kernel::AbortFlag abort,
                   ProgressHandler onProgress) {
    std::atomic<bool> isCancelled = false;
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
        task->Start();
    } catch (const std::system_error&) {
        task->Fail(std::current_exception());
    }
    return task;
}

void CancelAllRequests() {
    Activity::CancelAll();
}

}  // namespace Network::Http
