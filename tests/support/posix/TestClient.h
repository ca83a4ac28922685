// A client that reports how its connection ended, for POSIX.

#pragma once

#include "Server/FileDescriptor.h"
#include "Server/OpenSSL.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>

namespace Support {

/// How a connection ended, from the client's side.
enum class Seen { End, Reset, CutOff };

struct Received {
    std::string text;
    Seen seen = Seen::End;
};

template <class Address>
Server::FileDescriptor ConnectTo(const Address& address, int family, timeval patience) {
    Server::FileDescriptor connection(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;  // a request is not held back until the handshake is acknowledged
    setsockopt(connection.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    setsockopt(connection.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return connection;
}

/// A connection on which no wait for data takes longer than `patience`, so that no test hangs.
inline Server::FileDescriptor Connect(int port, timeval patience = {10, 0}) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return ConnectTo(address, AF_INET, patience);
}

/// The same to ::1.
inline Server::FileDescriptor ConnectOverIPv6(int port, timeval patience = {10, 0}) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    address.sin6_port = htons(static_cast<std::uint16_t>(port));
    return ConnectTo(address, AF_INET6, patience);
}

inline void SendText(const Server::FileDescriptor& connection, std::string_view text) {
    send(connection.Get(), text.data(), text.size(), MSG_NOSIGNAL);
}

/// All that `read` gives; `isEnd` tells whether its last result is an orderly end.
template <class Read, class IsEnd>
Received ReceiveAll(Read read, IsEnd isEnd) {
    Received received;
    std::array<char, 65536> buffer;
    for (;;) {
        errno = 0;
        const auto got = read(buffer.data(), buffer.size());
        if (got <= 0) {
            received.seen = isEnd(got)            ? Seen::End
                            : errno == ECONNRESET ? Seen::Reset
                                                  : Seen::CutOff;
            return received;
        }
        received.text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

inline Received ReceiveAll(const Server::FileDescriptor& connection) {
    return ReceiveAll(
        [&](char* data, std::size_t size) { return recv(connection.Get(), data, size, 0); },
        [](ssize_t got) { return got == 0; });
}

inline Received Exchange(int port, std::string_view request) {
    const Server::FileDescriptor connection = Connect(port);
    SendText(connection, request);
    return ReceiveAll(connection);
}

/// What a client receives from this machine over TLS that trusts `authority` and takes it for
/// `host`; nothing, with Seen::CutOff, if the handshake fails. `saysEnd`: that nothing follows the
/// request.
inline Received ExchangeOverTls(int port, const std::string& authority, std::string_view request,
                                bool saysEnd = false, const char* host = "localhost") {
    const Server::FileDescriptor connection = Connect(port);
    const Server::TlsContextPointer context(SSL_CTX_new(TLS_client_method()));
    const Server::BioPointer pem(
        BIO_new_mem_buf(authority.data(), static_cast<int>(authority.size())));
    const Server::CertificatePointer trusted(
        PEM_read_bio_X509(pem.get(), nullptr, nullptr, nullptr));
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context.get()), trusted.get());
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    const Server::TlsPointer tls(SSL_new(context.get()));
    SSL_set1_host(tls.get(), host);
    SSL_set_fd(tls.get(), connection.Get());
    if (SSL_connect(tls.get()) != 1) {
        return {"", Seen::CutOff};
    }
    SSL_write(tls.get(), request.data(), static_cast<int>(request.size()));
    if (saysEnd) {
        SSL_shutdown(tls.get());  // what comes can still be read
    }
    return ReceiveAll(
        [&](char* data, std::size_t size) {
            ERR_clear_error();
            return SSL_read(tls.get(), data, static_cast<int>(size));
        },
        [&](int got) { return SSL_get_error(tls.get(), got) == SSL_ERROR_ZERO_RETURN; });
}

}  // namespace Support
