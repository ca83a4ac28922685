// What OpenSSL knows of a connection.

#pragma once

namespace Network {

/// Whether both sides have agreed on HTTP/2 (ALPN, RFC 7301). `connection` is OpenSSL's (SSL), here
/// and below; null for one that is not encrypted.
bool SpeaksHttp2(const void* connection) noexcept;

/// Whether there are bytes that OpenSSL has taken off the socket and nobody has read.
bool HasUnread(const void* connection) noexcept;

}  // namespace Network
