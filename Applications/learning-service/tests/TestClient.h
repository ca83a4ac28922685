// A client that sees what happens to its connection, down to the error codes.

#pragma once

#include "server/FileDescriptor.h"
#include "server/OpenSsl.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace Service::Testing {

/// How a connection ended, from the client's side.
enum class Seen { End, Reset, CutOff };

struct Received {
    std::string text;
    Seen seen = Seen::End;
};

inline FileDescriptor Connect(int port) {
    FileDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const int yes = 1;  // a request is not held back until the handshake is acknowledged
    setsockopt(connection.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    const timeval limit{10, 0};  // no test hangs
    setsockopt(connection.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return connect(connection.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
               ? std::move(connection)
               : FileDescriptor();
}

inline void SendText(const FileDescriptor& connection, std::string_view text) {
    send(connection.Get(), text.data(), text.size(), MSG_NOSIGNAL);
}

inline Received ReceiveAll(const FileDescriptor& connection) {
    Received received;
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t got = recv(connection.Get(), buffer.data(), buffer.size(), 0);
        if (got <= 0) {
            received.seen = got == 0 ? Seen::End : errno == ECONNRESET ? Seen::Reset : Seen::CutOff;
            return received;
        }
        received.text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

inline Received Exchange(int port, std::string_view request) {
    const FileDescriptor connection = Connect(port);
    SendText(connection, request);
    return ReceiveAll(connection);
}

/// TLS as a client that trusts `authority` and wants to talk to `host`.
class TlsClient {
public:
    TlsClient(int port, const std::string& authority, const char* host)
        : m_connection(Connect(port)), m_context(SSL_CTX_new(TLS_client_method())) {
        const BioPointer pem(BIO_new_mem_buf(authority.data(), static_cast<int>(authority.size())));
        const CertificatePointer trusted(PEM_read_bio_X509(pem.get(), nullptr, nullptr, nullptr));
        X509_STORE_add_cert(SSL_CTX_get_cert_store(m_context.get()), trusted.get());
        SSL_CTX_set_verify(m_context.get(), SSL_VERIFY_PEER, nullptr);
        m_tls.reset(SSL_new(m_context.get()));
        SSL_set1_host(m_tls.get(), host);
        SSL_set_fd(m_tls.get(), m_connection.Get());
        ERR_clear_error();
        m_isConnected = SSL_connect(m_tls.get()) == 1;
    }

    bool IsConnected() const { return m_isConnected; }
    long GetVerifyResult() const { return SSL_get_verify_result(m_tls.get()); }

    Received Exchange(std::string_view request) {
        SSL_write(m_tls.get(), request.data(), static_cast<int>(request.size()));
        Received received;
        std::array<char, 65536> buffer;
        for (;;) {
            errno = 0;
            ERR_clear_error();
            const int got = SSL_read(m_tls.get(), buffer.data(), static_cast<int>(buffer.size()));
            if (got <= 0) {
                const bool isEnd = SSL_get_error(m_tls.get(), got) == SSL_ERROR_ZERO_RETURN;
                received.seen = isEnd                 ? Seen::End
                                : errno == ECONNRESET ? Seen::Reset
                                                      : Seen::CutOff;
                return received;
            }
            received.text.append(buffer.data(), static_cast<std::size_t>(got));
        }
    }

private:
    FileDescriptor m_connection;
    TlsContextPointer m_context;
    TlsPointer m_tls;
    bool m_isConnected = false;
};

}  // namespace Service::Testing
