// An HTTP request and the response to it.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/String.h"
#include "Network/DataSink.h"
#include "Network/DataSource.h"

#include <cstdint>
#include <map>

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

}  // namespace Network::Http
