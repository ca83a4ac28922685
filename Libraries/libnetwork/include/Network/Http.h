// HTTP requests.
//
// Common to all of them: the address is absolute, http or https, and checked before anything is
// sent. Certificates are verified. There are time limits for connecting, for the first byte of the
// response and for inactivity, but none for the whole request, which can be cancelled instead. Each
// request has a connection to itself, which ends with it unless a session keeps it.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Network/Export.h"
#include "Network/HttpException.h"
#include "Network/HttpHandlers.h"
#include "Network/HttpProgress.h"
#include "Network/HttpRequest.h"
#include "Network/RunningRequest.h"

namespace Network::Http {

/// Makes a request on the calling thread and returns its response, of any status. If there is no
/// complete response, throws Exception if `throwsOnFailure`, else returns what was received, with
/// `failure` set.
NETWORK_API Response DoRequest(const Request& request, bool throwsOnFailure);

/// The same. Another thread may set `abort`, if it is not null: the request then fails within 100
/// ms with FailureReason::Cancelled, or when the handler, source or sink that is running has
/// returned. `onProgress` may be empty; it is called as that of the next form.
NETWORK_API Response DoRequest(const Request& request, bool throwsOnFailure,
                               Kernel::AbortFlag abort, ProgressHandler onProgress);

/// Makes a request on a new thread and returns at once. Any handler may be empty; all are copied
/// and called on that thread.
///
/// `onSuccess` is called for a complete response of status 200 to 299, `onFailure` for everything
/// else, with `failure` set and a line in the log: exactly one of them, once, after the sink has
/// been flushed. It is the last call, and exceptions from it are logged. `onResponse` is called
/// once, at the first byte of the body or the end of the response; `onStatus` at the start of each
/// phase, with a text for the user; `onProgress` when bytes are sent or received, and at least once
/// a second. An exception from these three ends the transfer as a failure.
///
/// If no thread can be created, `onFailure` is called on the calling thread.
NETWORK_API Kernel::Counted<RunningRequest> DoRequest(Request request, CompletionHandler onSuccess,
                                                      CompletionHandler onFailure,
                                                      ResponseHandler onResponse,
                                                      StatusHandler onStatus,
                                                      ProgressHandler onProgress);

/// Cancels all requests of the process, blocking ones too, and waits until their completion
/// handlers have returned and their threads have ended: for a host that exits, or unloads this
/// library after Kernel::Dispatch::EndIdleThreads(). To be called from no handler. Requests that
/// start meanwhile are not waited for.
NETWORK_API void CancelAllRequests();

}  // namespace Network::Http
