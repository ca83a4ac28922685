// HTTP requests.
//
// What holds for each of them: the address is absolute, http or https, and checked before anything
// is sent. Certificates are verified. There is no limit on the time of the whole, but on the time
// to connect and on the time without a byte, so no silent server holds a request up; a slow one
// that never ends is for a sink or a progress handler to leave, by throwing. Each request has a
// connection of its own.

#pragma once

#include "Network/Export.h"
#include "Network/HttpException.h"
#include "Network/HttpHandlers.h"
#include "Network/HttpProgress.h"
#include "Network/HttpRequest.h"

namespace Network::Http {

/// Makes a request on the calling thread. A response of any status is returned. If there is none,
/// or not a complete one, throws Exception when `throwsOnFailure`, and else returns what there is,
/// with `failure` set.
NETWORK_API Response DoRequest(const Request& request, bool throwsOnFailure);

/// Makes a request on a thread of its own and returns at once. Any handler may be empty; all are
/// copied, and are called on that thread, one at a time.
///
/// `onSuccess` is called for a complete response of status 200 to 299, `onFailure` for everything
/// else, with `failure` set and a line in the log: exactly one of them, once, after the sink has
/// been flushed. Nothing is called after it, and what it throws is logged. `onResponse` is called
/// once, when the first byte of the body or the end has come; `onStatus` at the start of each phase
/// with a text for the user; `onProgress` as bytes come and go, and once a second when none do.
/// What these three throw ends the transfer as a failure.
///
/// If there is no thread to be had, `onFailure` is called on the calling one.
NETWORK_API void DoRequest(Request request, CompletionHandler onSuccess,
                           CompletionHandler onFailure, ResponseHandler onResponse,
                           StatusHandler onStatus, ProgressHandler onProgress);

}  // namespace Network::Http
