// The service on its ports: its operations, and the faults that change their answers.

#pragma once

#include "Server/CertificateAuthority.h"
#include "Server/ScriptedServer.h"

#include "catalogue/ServedModels.h"
#include "envelope/Credentials.h"
#include "faults/Faults.h"
#include "help/Conversations.h"
#include "jobs/Job.h"
#include "operations/Router.h"
#include "records/RecordBook.h"
#include "service/Addresses.h"
#include "service/RequestLog.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Service {

/// What clients may ask of the service.
struct Limits {
    using Seconds = std::chrono::duration<double>;

    int connections = 1024;  // at a time, on each port
    Seconds request{10};     // for a whole request, with TLS before it
    Seconds stall{30};       // in which a client takes nothing of an answer
    Seconds keepAlive{5};    // until the next request of a connection; 0 for none
    int requests = 1000;     // on one connection
    Seconds results{3600};   // how long they can be fetched
    int jobs = 10'000;       // that are kept, and as many uploads
    int storage = 256;       // MiB for jobs, and as much for uploads
};

/// What the command line says.
struct Settings {
    std::string packages;
    std::string models;       // folder of the segmentation networks; empty: they are not used
    std::string catalogue;    // file of the catalogue of models; empty: the default one
    std::string credentials;  // file of what clients have to know; empty: nothing
    std::string records;      // file for hints and issues; empty: they are not kept
    Server::Loopback loopback = Server::Loopback::Both;
    int port = 8080;
    std::optional<int> httpsPort;
    std::string certificate;                                // file for the authority's certificate
    std::vector<std::string> hosts = GetCompiledInHosts();  // that the service's own is for, too
    Server::CertificateAuthority::Flaw flaw = Server::CertificateAuthority::Flaw::None;
    std::vector<std::string> faults;
    std::string faultFile;
    std::string logFile;  // empty: the log goes to standard output
    bool isForOneRequest = false;
    std::chrono::milliseconds pending{16'000};  // until pictures are done
    int side = 1024;                            // of square pictures that are made from words
    Limits limits;
};

/// Serves from its construction to its destruction.
class LocalService {
public:
    /// Logs to `log`; calls `onRequest` after each request. Throws what is derived from
    /// std::runtime_error if a port can't be bound or a file not be read or written.
    LocalService(const Settings& settings, RequestLog& log, std::function<void()> onRequest);
    LocalService(const LocalService&) = delete;
    LocalService& operator=(const LocalService&) = delete;
    ~LocalService();

    /// Where it speaks http, for example "127.0.0.1:8080".
    std::vector<std::string> GetAddresses() const { return m_http->GetAddresses(); }
    int GetHttpsPort() const noexcept { return m_https ? m_https->GetPort() : 0; }
    /// Where it speaks https, for example "127.0.0.1:8443"; empty if it does not.
    std::string GetHttpsAddress() const { return m_https ? m_https->GetAddresses().front() : ""; }

private:
    using Mount = std::function<void(std::string path, std::unique_ptr<Operation> operation,
                                     const char* purpose)>;

    void MountOperations(const Settings& settings);
    void MountPictures(const Mount& mount);
    std::unique_ptr<Server::ScriptedServer> Serve(const Settings& settings, int port,
                                                  std::optional<Server::Identity> identity);
    Server::Script Answer(const Server::Request& request) const;
    std::optional<Server::Script> Greet() const;
    void Observe(const Server::Exchange& exchange);
    Faults GetFaults() const;

    RequestLog& m_log;
    std::function<void()> m_onRequest;
    Credentials m_credentials;
    Conversations m_conversations;
    RecordBook m_records;
    ServedModels m_models;
    Studio m_studio;
    Router m_router;
    Faults m_faults;
    std::string m_faultFile;
    std::unique_ptr<Server::ScriptedServer> m_http;  // last: they call the rest
    std::unique_ptr<Server::ScriptedServer> m_https;
};

}  // namespace Service
