// TLS over a Socket, on the server's side.

#pragma once

#include "Server/CertificateAuthority.h"
#include "Server/OpenSSL.h"

#include "sockets/Socket.h"

#include <exception>

namespace Server {

/// What all connections of a server have in common. Throws std::runtime_error if `identity` is not
/// well formed.
TlsContextPointer MakeTlsContext(const Identity& identity);

/// The client speaks HTTP without TLS; the socket can still be used.
class NotEncrypted : public ConnectionLost {
public:
    NotEncrypted() : ConnectionLost("this port speaks https, not http") {}
};

/// Shakes hands when it is made; throws NotEncrypted, or ConnectionLost if that fails, as
/// everything here does.
class TlsTransport : public Transport {
public:
    TlsTransport(SSL_CTX& context, Socket& socket);
    TlsTransport(const TlsTransport&) = delete;
    TlsTransport& operator=(const TlsTransport&) = delete;

    std::size_t Receive(std::span<char> buffer) override;
    void Send(std::string_view bytes) override;
    void SayEnd() override;

private:
    static const BIO_METHOD* GetSocketMethod();
    static int ReadSocket(BIO* bio, char* data, int size) noexcept;
    static int WriteSocket(BIO* bio, const char* data, int size) noexcept;
    static long ControlSocket(BIO* bio, int command, long number, void* data) noexcept;

    [[noreturn]] void ThrowFailure(const char* action);

    Socket& m_socket;
    std::exception_ptr m_failure;  // of m_socket: no exception may cross OpenSSL
    TlsPointer m_tls;
};

}  // namespace Server
