// Servers for tests of clients, and the authority whose certificates clients can trust.

#pragma once

#include "Server/ScriptedServer.h"

#include <string>
#include <utility>

namespace Support {

/// The authority that has signed the certificates of all servers of a test program.
inline const Server::CertificateAuthority& GetAuthority() {
    static const Server::CertificateAuthority authority;
    return authority;
}

inline Server::ScriptedServer::Options Encrypted(bool isEncrypted = true) {
    Server::ScriptedServer::Options options;
    if (isEncrypted) {
        options.identity = GetAuthority().Issue();
    }
    return options;
}

/// A server with its address. Given a script, it answers each request with it.
class TestServer : public Server::ScriptedServer {
public:
    explicit TestServer(Handler handler, const Options& options = {})
        : ScriptedServer(options, std::move(handler)),
          m_address((options.identity ? "https://127.0.0.1:" : "http://127.0.0.1:") +
                    std::to_string(GetPort())) {}
    explicit TestServer(const Server::Script& script, const Options& options = {})
        : TestServer([script](const Server::Request&) { return script; }, options) {}

    std::string GetAddress(const std::string& path = "/") const { return m_address + path; }

private:
    const std::string m_address;
};

}  // namespace Support
