#include "Network/Http.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Dispatch.h"
#include "Kernel/Format.h"

#include "requests/Address.h"
#include "transfer/Transfer.h"

#include <memory>
#include <system_error>
#include <utility>

namespace Network::Http {

namespace {

/// Makes a request and reports failures in the response. Throws only if memory runs out.
Response Perform(const Request& request, TransferHandlers handlers) {
    try {
        return Transfer(request, std::move(handlers)).Run();
    } catch (const std::exception& error) {
        Response response;
        response.failure = error.what();
        return response;
    } catch (...) {  // a source may throw any type
        Response response;
        response.failure = "a callback failed";
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

/// The state of an asynchronous request.
struct Task {
    Request request;
    CompletionHandler onSuccess;
    CompletionHandler onFailure;
    TransferHandlers handlers;

    void Run() noexcept {
        Response response;
        bool isSuccess = false;
        try {
            response = Perform(request, std::move(handlers));
            isSuccess = !NoteFailure(response);
        } catch (...) {  // out of memory, even for the reason
        }
        Complete(isSuccess ? onSuccess : onFailure, request, std::move(response));
    }

private:
    /// Whether `response` is a failure. If so, its `failure` says why and a line is logged, since
    /// many failure handlers do not look at the response.
    bool NoteFailure(Response& response) const {
        if (response.failure.empty() && (response.status < 200 || response.status > 299)) {
            response.failure = Kernel::Format("%1: the server answers with status %2",
                                              DescribeAddress(request.address), response.status);
        }
        if (!response.failure.empty()) {
            Kernel::Log::Write("[Network] %1\n", response.failure);
        }
        return !response.failure.empty();
    }
};

}  // namespace

Response DoRequest(const Request& request, bool throwsOnFailure) {
    Response response = Perform(request, {});
    if (throwsOnFailure && !response.failure.empty()) {
        throw Exception(response.failure.c_str());
    }
    return response;
}

void DoRequest(Request request, CompletionHandler onSuccess, CompletionHandler onFailure,
               ResponseHandler onResponse, StatusHandler onStatus, ProgressHandler onProgress) {
    const auto task = std::make_shared<Task>(
        Task{std::move(request),
             std::move(onSuccess),
             std::move(onFailure),
             {std::move(onResponse), std::move(onStatus), std::move(onProgress)}});
    try {
        Kernel::Dispatch::DispatchAndForget([task] { task->Run(); },
                                            Kernel::Dispatch::Priority::Normal,
                                            Kernel::Dispatch::ThreadPurpose::Background);
    } catch (const std::system_error& error) {
        Response response;
        response.failure = error.what();
        Complete(task->onFailure, task->request, std::move(response));
    }
}

}  // namespace Network::Http
