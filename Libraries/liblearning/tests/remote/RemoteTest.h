// What the tests of remote operations share: a service to talk to, at the addresses that the
// library knows.

#pragma once

#include "Kernel/Testing.h"
#include "Learning/RemoteInference.h"
#include "Network/Routes.h"
#include "Network/Settings.h"

#include "remote/addresses/ServiceAddresses.h"
#include "support/Environment.h"
#include "support/TestFolder.h"
#include "support/TestServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace Learning {

inline constexpr auto Success = RemoteResult::Success;
inline constexpr auto Rejected = RemoteResult::GenerationRejected;
inline constexpr auto Unknown = RemoteResult::UnknownError;
inline constexpr auto Broken = RemoteResult::CommunicationsFailure;
inline constexpr auto Insufficient = RemoteResult::RequestInsufficient;

/// The host that the address names.
inline std::string GetHost(std::string_view address) {
    address.remove_prefix(std::string_view("https://").size());
    return std::string(address.substr(0, address.find_first_of("/:")));
}

/// What an address has after its host.
inline std::string GetTarget(std::string_view address) {
    return std::string(address.substr(address.find('/', std::string_view("https://").size())));
}

class RemoteTest : public testing::Test {
protected:
    using Result = RemoteInference::Result;

    RemoteTest() {
        static const Support::TestFolder cache;                   // is asked for once in a process
        Support::SetEnvironment("XDG_CACHE_HOME", cache.At(""));  // Windows' is that of the user
        Network::SetCertificateAuthorities(
            m_folder.Write("authority.pem", Support::GetAuthority().GetCertificate()));
        Network::SetProxy("");
    }
    ~RemoteTest() override { Network::SetCertificateAuthorities({}); }

    /// Settings of a server that passes for the service.
    static Server::ScriptedServer::Options MakeOptions() {
        Server::ScriptedServer::Options options;
        options.identity =
            Support::GetAuthority().Issue(Server::CertificateAuthority::Flaw::None,
                                          {GetHost(ConfigUrl), GetHost(ServiceBaseUrl)});
        return options;
    }

    /// From now on the service is a server that answers by `handler`.
    Support::TestServer& Serve(Server::ScriptedServer::Handler handler,
                               const Server::ScriptedServer::Options& options = MakeOptions()) {
        m_routes.clear();
        m_server = std::make_unique<Support::TestServer>(std::move(handler), options);
        Route(m_server->GetPort());
        return *m_server;
    }
    Support::TestServer& Serve(const Server::Script& script,
                               const Server::ScriptedServer::Options& options = MakeOptions()) {
        return Serve([script](const Server::Request&) { return script; }, options);
    }

    /// Lets the service be at a port of this machine.
    void Route(int port) {
        for (const char* const address : {ConfigUrl, ServiceBaseUrl}) {
            m_routes.push_back(std::make_unique<Network::ScopedRoute>(
                GetHost(address), "127.0.0.1", static_cast<std::uint16_t>(port)));
        }
    }

    const Support::TestFolder m_folder;
    const Kernel::Testing::Recorded<Kernel::Log> m_log;
    const Kernel::Testing::Recorded<Kernel::Trace> m_trace;
    std::unique_ptr<Support::TestServer> m_server;
    std::vector<std::unique_ptr<Network::ScopedRoute>> m_routes;
    RemoteInference m_client = RemoteInference::GetInstance();  // with its own credentials
};

}  // namespace Learning
