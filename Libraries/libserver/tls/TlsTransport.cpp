#include "tls/TlsTransport.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace Server {

namespace {

BioPointer ReadFrom(const std::string& text) {
    return BioPointer(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

int ToInt(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

TlsContextPointer MakeTlsContext(const Identity& identity) {
    TlsContextPointer context(SSL_CTX_new(TLS_server_method()));
    CheckOpenSSL(context != nullptr, "make a TLS context");
    const CertificatePointer certificate(
        PEM_read_bio_X509(ReadFrom(identity.certificate).get(), nullptr, nullptr, nullptr));
    const KeyPointer key(
        PEM_read_bio_PrivateKey(ReadFrom(identity.privateKey).get(), nullptr, nullptr, nullptr));
    CheckOpenSSL(certificate && SSL_CTX_use_certificate(context.get(), certificate.get()) == 1,
                 "use the certificate");
    CheckOpenSSL(key && SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1, "use the key");
    // Each connection shakes hands in full, and a client that leaves early leaves no ticket unread,
    // which would turn its FIN into a reset.
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context.get(), 0);
    return context;
}

TlsTransport::TlsTransport(SSL_CTX& context, Socket& socket)
    : m_socket(socket), m_tls(SSL_new(&context)) {
    BIO* const bio = BIO_new(GetSocketMethod());
    CheckOpenSSL(m_tls && bio != nullptr, "set TLS up");
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(m_tls.get(), bio, bio);  // owns it from here
    ERR_clear_error();
    if (SSL_accept(m_tls.get()) != 1) {
        if (ERR_GET_REASON(ERR_peek_error()) == SSL_R_HTTP_REQUEST) {
            ERR_clear_error();
            throw NotEncrypted();
        }
        ThrowFailure("TLS handshake failed");
    }
}

std::size_t TlsTransport::Receive(std::span<char> buffer) {
    ERR_clear_error();
    const int got = SSL_read(m_tls.get(), buffer.data(), ToInt(buffer.size()));
    if (got > 0) {
        return static_cast<std::size_t>(got);
    }
    if (SSL_get_error(m_tls.get(), got) == SSL_ERROR_ZERO_RETURN) {
        return 0;
    }
    ThrowFailure("cannot receive");
}

void TlsTransport::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        ERR_clear_error();
        const int sent = SSL_write(m_tls.get(), bytes.data(), ToInt(bytes.size()));
        if (sent <= 0) {
            ThrowFailure("cannot send");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void TlsTransport::SayEnd() {
    ERR_clear_error();
    if (SSL_shutdown(m_tls.get()) < 0) {
        ThrowFailure("cannot close");
    }
}

const BIO_METHOD* TlsTransport::GetSocketMethod() {
    // OpenSSL's own socket BIO would raise SIGPIPE, and knows nothing of a server that stops.
    static const BioMethodPointer shared = [] {
        BioMethodPointer method(BIO_meth_new(BIO_TYPE_SOURCE_SINK, "scripted server"));
        CheckOpenSSL(method != nullptr, "set TLS up");
        BIO_meth_set_read(method.get(), ReadSocket);
        BIO_meth_set_write(method.get(), WriteSocket);
        BIO_meth_set_ctrl(method.get(), ControlSocket);
        return method;
    }();
    return shared.get();
}

int TlsTransport::ReadSocket(BIO* bio, char* data, int size) noexcept {
    auto& self = *static_cast<TlsTransport*>(BIO_get_data(bio));
    try {
        return ToInt(self.m_socket.Receive({data, static_cast<std::size_t>(size)}));
    } catch (...) {
        self.m_failure = std::current_exception();
        return -1;
    }
}

int TlsTransport::WriteSocket(BIO* bio, const char* data, int size) noexcept {
    auto& self = *static_cast<TlsTransport*>(BIO_get_data(bio));
    try {
        self.m_socket.Send({data, static_cast<std::size_t>(size)});
        return size;
    } catch (...) {
        self.m_failure = std::current_exception();
        return -1;
    }
}

long TlsTransport::ControlSocket(BIO* /*bio*/, int command, long /*number*/,
                                 void* /*data*/) noexcept {
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

/// Throws what the socket threw, else what OpenSSL reports.
void TlsTransport::ThrowFailure(const char* action) {
    if (m_failure) {
        std::rethrow_exception(std::exchange(m_failure, nullptr));
    }
    throw ConnectionLost(std::string(action) + ": " + TakeOpenSSLError());
}

}  // namespace Server
