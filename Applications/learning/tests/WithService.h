// Running the program inside a test, with a service of the test's own.

#pragma once

#include "support/Environment.h"
#include "support/TestServer.h"
#include "tests/LearningProgram.h"

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace LearningApp::Testing {

/// Lets a server pass for the inference service.
class WithService : public InFolder {
protected:
    /// `handler` is called while `m_mutex` is held.
    explicit WithService(const Server::ScriptedServer::Handler& handler)
        : m_server(
              [this, handler](const Server::Request& request) {
                  const std::lock_guard lock(m_mutex);
                  return handler(request);
              },
              MakeOptions()) {
        Support::SetEnvironment("ORVANTIS_SERVICE", std::nullopt);
        SetStateFolder(At("state"));
        Support::SetEnvironment("XDG_CACHE_HOME", At("cache"));
    }

    /// Where the journal of jobs is.
    static void SetStateFolder(const std::string& path) {
        for (const char* const name : {"XDG_STATE_HOME", "LOCALAPPDATA"}) {  // one for each system
            Support::SetEnvironment(name, path);
        }
    }

    static std::string GetHost(std::string_view address) {
        address.remove_prefix(8);
        return std::string(address.substr(0, address.find('/')));
    }
    static Server::ScriptedServer::Options MakeOptions() {
        Server::ScriptedServer::Options options;
        options.identity =
            Support::IssueIdentity({GetHost(ORVANTIS_CONFIG_URL), GetHost(ORVANTIS_SERVICE_URL)});
        return options;
    }

    /// To be called just before each run: lets the service see what the test has set.
    std::vector<std::string> AddPlace(std::vector<std::string> arguments) const {
        Synchronise();
        const std::string place = "127.0.0.1:" + std::to_string(m_server.GetPort());
        arguments.insert(arguments.end(), {"--service", place, "--certificate", m_authority});
        return arguments;
    }
    Outcome Call(const std::vector<std::string>& arguments) const {
        Outcome outcome = Testing::Run(AddPlace(arguments));
        Synchronise();
        return outcome;
    }

    /// Between what a test does to what its service uses and what its service does.
    void Synchronise() const { const std::lock_guard lock(m_mutex); }

    mutable std::mutex m_mutex;
    std::string m_authority = MakeFile("authority.pem", Support::GetAuthority().GetCertificate());
    const Support::TestServer m_server;
};

}  // namespace LearningApp::Testing
