// What is known of an encrypted connection: by OpenSSL, or by Windows.

#pragma once

namespace Network {

/// To be called before anything else that encrypts. Lets OpenSSL keep its tables when the process
/// exits: requests of other threads still use them. Takes no effect if the host has used it before.
void PrepareEncryption();

/// Whether both sides have agreed on HTTP/2 (ALPN, RFC 7301). `connection` is that of the library
/// that encrypts (SSL of OpenSSL), here and below; null for one that is not encrypted.
bool SpeaksHttp2(const void* connection) noexcept;

/// Whether there may be bytes that were taken off the socket and nobody has read.
bool HasUnread(const void* connection) noexcept;

}  // namespace Network
