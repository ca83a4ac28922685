// An HTTP request and the response to it.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Streams.h"
#include "Kernel/String.h"
#include "Network/DataSink.h"
#include "Network/DataSource.h"
#include "Network/HttpException.h"
#include "Network/Session.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <system_error>

namespace Network::Http {

enum class Method {
    Head = 0,
    Get = 1,
    Post = 2,  // sends a body
    Put = 3,   // sends a body
    Delete = 4,
};

/// The range of the body to request (Range, RFC 9110), to continue an interrupted download.
enum class Fencepost {
    None = 0,  // the whole body
    /// From Request::firstByte to the end. Only a response of status 206 with exactly this range is
    /// a success and reaches the sink; without a first byte, one of status 200 too.
    Start = 1,
};

/// Header or parameter values by name. In a response the names are in lower case, the last of
/// several headers with one name is kept, and trailers are dropped.
using Fields = std::map<Kernel::String, Kernel::String>;

/// Writes a body to a stream that leads to the server, and fails once the writer has returned.
using BodyWriter = std::function<void(const Kernel::Counted<Kernel::OutStream>&)>;

struct Request {
    Kernel::String address;
    Method method = Method::Get;
    Fields headers;
    /// Appended to the query of the address, percent-encoded, in the order of their names.
    Fields parameters;
    /// The body of Post and Put; null for an empty one. A short one of a Post is read beforehand.
    Kernel::Counted<DataSource> body;
    /// If not empty, what writes the body instead, while it is sent: nothing of the body is kept.
    /// Called at most once, on the thread of the transfer. An exception from it ends the transfer;
    /// one from its stream, which says that the server wants no more, is to be passed on.
    BodyWriter writeBody;
    /// The number of bytes that `writeBody` writes, for servers that want Content-Length; with
    /// std::nullopt the body is sent in chunks.
    std::optional<std::uint64_t> writtenSize;
    /// Receives the response's body, whatever the status, but for redirects that are followed; null
    /// discards it.
    Kernel::Counted<DataSink> sink;
    Fencepost fencepost = Fencepost::None;
    std::uint64_t firstByte = 0;
    /// For Fencepost::Start: the strong entity tag or the date (ETag, Last-Modified) that the part
    /// before the first byte came with. If the document has changed since, the request fails.
    Kernel::String validator;
    /// Seconds: the limit for connecting, and then for inactivity in both directions. Time that
    /// handlers, sources and sinks take does not count.
    int timeout = 20;
    /// Seconds: another limit for connecting.
    std::optional<int> connectTimeout;
    /// Seconds: the limit for the first byte of the response, once the request is sent, however
    /// many interim responses (1xx) come before it.
    int replyTimeout = 60;
    /// Whether Get and Head follow redirects, at most five and none from https to http. Headers of
    /// the request go to no other origin (scheme, host and port). Other methods never follow
    /// redirects: their bodies may contain secrets.
    bool followsRedirects = true;
    /// Whether a response without Content-Length and chunked encoding is accepted. The end of such
    /// a body can't be distinguished from a lost connection.
    bool allowsUnknownLength = false;
    /// Whose connections this request may use and leave; null for a connection of its own, which
    /// ends with it. Neither Post nor what `writeBody` has written is sent again when a connection
    /// that had been kept turns out to be closed: the request then fails, if the server has not
    /// answered.
    Kernel::Counted<Session> session;
};

struct Response {
    /// The HTTP status; 0 if there was no response.
    int status = 0;
    Fields headers;
    /// The reason of a failure, in one line; empty for a success.
    Kernel::String failure;
    FailureReason reason = FailureReason::None;
    /// With FailureReason::Local the error of the system that is behind it, if there is one.
    std::error_code error;
};

}  // namespace Network::Http
