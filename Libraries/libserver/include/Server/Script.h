// The steps that a scripted server takes with a connection, in their order.

#pragma once

#include "Server/Content.h"
#include "Server/Headers.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Server {

/// Sends all of `content`. Files are read in pieces as they are sent:
/// `Send{Content::OfFile(path).Slice(offset, count)}`.
struct Send {
    Content content;
};

/// Sends `content` in pieces of `pieceSize` bytes, with a pause after each.
struct Drip {
    Content content;
    std::size_t pieceSize;
    std::chrono::milliseconds pause;
};

/// Does nothing for `duration`; less if the client closes the connection.
struct Wait {
    std::chrono::milliseconds duration;
};

/// Waits until the client closes the connection.
inline constexpr Wait WaitForClient{std::chrono::hours(24)};

/// Ends the connection in order: TLS close_notify, then FIN.
struct Close {};

/// Ends the connection with FIN alone, which over TLS is a truncation.
struct Abort {};

/// Waits until the client's system has what was sent, then resets the connection (TCP RST).
struct Reset {};

/// Leaves the connection open, and answers its next request.
struct Keep {};

using Step = std::variant<Send, Drip, Wait, Close, Abort, Reset, Keep>;

/// Steps up to and including the first that ends the exchange (one of the last four); Close if none
/// does. So
///
///     {Send{FormatHead(200, {{"Content-Length", "10"}})}, Send{"short"}, Reset{}}
///
/// promises ten bytes, sends five and resets.
using Script = std::vector<Step>;

/// "HTTP/1.1 200 OK" for 200.
std::string FormatStatusLine(int status);

/// `statusLine` and `headers` just as they are, with the empty line after them.
std::string FormatHead(std::string_view statusLine, const Headers& headers);
/// FormatHead() with FormatStatusLine().
std::string FormatHead(int status, const Headers& headers);

/// A reply as it should be: adds Content-Length, unless `headers` has it or Transfer-Encoding, and
/// `Connection: close`; sends all and closes. With a Content-Length of one's own it lies.
Script Reply(int status, Headers headers = {}, const Content& body = {});
/// The same without `Connection: close`, after which the connection is kept.
Script ReplyAndKeep(int status, Headers headers = {}, const Content& body = {});

/// A reply in chunks of `chunkSize` bytes (1 at least).
Script ReplyChunked(int status, Headers headers, const Content& body, std::size_t chunkSize);

/// `content` as one chunk of the chunked transfer coding (RFC 9112, 7.1); an empty one is the last.
Script FormatChunk(const Content& content);

}  // namespace Server
