// HTTP requests.
//
// What holds for each of them: the address is absolute, http or https, and checked before anything
// is sent. Certificates are verified. There is no limit on the time of the whole, but on the time
// to connect and on the time without a byte, so no silent server holds a request up; a slow one
// that never ends is for a sink or a progress handler to leave, by throwing. Each request has a
// connection of its own.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/LocalisedString.h"
#include "Kernel/String.h"
#include "Network/DataSink.h"
#include "Network/DataSource.h"
#include "Network/Export.h"

#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>

namespace Network::Http {

enum class Method {
    Head = 0,  // the headers alone
    Get = 1,   // a plain retrieval
    Post = 2,  // sends a body
    Put = 3,   // sends a body
    Delete = 4,
};

/// What of the body a server is asked for, for downloads that go on where an earlier one stopped.
enum class Fencepost {
    None = 0,   // all of it
    Start = 1,  // all from Request::firstByte on
};

/// Header or parameter values by name. Names of headers in a response are in lower case; of several
/// headers with one name the last counts.
using Fields = std::map<Kernel::String, Kernel::String>;

struct Request {
    Kernel::String address;
    Method method = Method::Get;
    Fields headers;
    /// Added to the address as its query, percent-encoded, in the order of their names.
    Fields parameters;
    /// What Post and Put send. Null sends nothing.
    Kernel::Counted<DataSource> body;
    /// Takes the response's body, whatever the status. Null drops it.
    Kernel::Counted<DataSink> sink;
    Fencepost fencepost = Fencepost::None;
    std::uint64_t firstByte = 0;
    /// Seconds: for the connection to be made, and then without a byte in either direction.
    int timeout = 20;
    /// Whether Get and Head go where a response redirects them, at most five times and never from
    /// https to http. Other methods never do: their bodies may hold secrets.
    bool followsRedirects = true;
    /// Whether a response may come without any word of its length. The end of such a body can't be
    /// told from a connection that broke.
    bool allowsUnknownLength = false;
};

struct Response {
    /// The HTTP status; 0 if there was no response.
    int status = 0;
    Fields headers;
    /// One line that says why the request failed; empty if it did not.
    Kernel::String failure;
};

/// A request that got no complete response. what() is the line that Response::failure holds.
class NETWORK_API Exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Exception() override;
};

/// How far a transfer is, in bytes. A total is 0 while it is not known.
struct ProgressInformation {
    std::uint64_t received = 0;
    std::uint64_t totalToReceive = 0;
    std::uint64_t sent = 0;
    std::uint64_t totalToSend = 0;
};

using CompletionHandler = std::function<void(const Request&, Response)>;
using ResponseHandler = std::function<void()>;
using StatusHandler = std::function<void(Kernel::LocalisedString)>;
using ProgressHandler = std::function<void(ProgressInformation)>;

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
