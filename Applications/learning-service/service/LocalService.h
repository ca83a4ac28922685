// The service on its ports: its operations, and the faults that change their answers.

#pragma once

#include "Server/CertificateAuthority.h"
#include "Server/ScriptedServer.h"

#include "faults/Faults.h"
#include "operations/Router.h"
#include "service/RequestLog.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// What the command line says.
struct Settings {
    std::string packages;
    int port = 8080;
    std::optional<int> httpsPort;
    std::string certificate;  // file for the authority's certificate
    Server::CertificateAuthority::Flaw flaw = Server::CertificateAuthority::Flaw::None;
    std::vector<std::string> faults;
    std::string faultFile;
    bool isForOneRequest = false;
};

/// Serves from its construction to its destruction.
class LocalService {
public:
    /// Logs to `out`; calls `onRequest` after each request. Throws what is derived from
    /// std::runtime_error if a port can't be bound or a file not be read or written.
    LocalService(const Settings& settings, std::ostream& out, std::function<void()> onRequest);

    /// Writes `text` between the lines of the log.
    void Announce(std::string_view text) { m_log.WriteLine(text); }

    int GetPort() const noexcept { return m_http->GetPort(); }
    int GetHttpsPort() const noexcept { return m_https ? m_https->GetPort() : 0; }

private:
    std::unique_ptr<Server::ScriptedServer> Serve(int port,
                                                  std::optional<Server::Identity> identity);
    Server::Script Answer(const Server::Request& request) const;
    std::optional<Server::Script> Greet() const;
    void Observe(const Server::Exchange& exchange);
    Faults GetFaults() const;

    RequestLog m_log;
    std::function<void()> m_onRequest;
    Router m_router;
    Faults m_faults;
    std::string m_faultFile;
    std::unique_ptr<Server::ScriptedServer> m_http;  // last: they call the rest
    std::unique_ptr<Server::ScriptedServer> m_https;
};

}  // namespace Service
