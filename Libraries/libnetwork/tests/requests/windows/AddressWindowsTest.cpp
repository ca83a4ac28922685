#include "Network/Routes.h"

#include "tests/NetworkTest.h"

#include <string>

namespace Network {
namespace {

using AddressTrustTest = NetworkTest;

// Only what is trusted: the TLS of Wine 8 accepts every certificate that it is shown.
TEST_F(AddressTrustTest, MayBeRoutedElsewhereWithAuthoritiesThatCanBeRead) {
    ScriptedServer::Options options;
    options.identity = Support::IssueIdentity({"models.orvantis.test"});
    const TestServer server(Reply(200), options);
    const ScopedRoute route("models.orvantis.test", "127.0.0.1",
                            static_cast<std::uint16_t>(server.GetPort()));
    const auto fetch = [](const std::string& authorities) {
        SetCertificateAuthorities(authorities);
        const auto response = Http::DoRequest(MakeRequest("https://models.orvantis.test/"), false);
        return std::string(response.failure.c_str());
    };
    EXPECT_EQ(fetch(m_folder.At("authority.pem")), "");
    EXPECT_EQ(server.GetRequests().size(), 1U);
    EXPECT_THAT(fetch(m_folder.At("missing.pem")), testing::HasSubstr("missing.pem: "));
    EXPECT_THAT(fetch(m_folder.Write("empty.pem", "text")), testing::HasSubstr("can't be read"));
    EXPECT_THAT(fetch("NUL"), testing::HasSubstr("a pipe or a device"));
    EXPECT_EQ(server.GetRequests().size(), 1U);
}

}  // namespace
}  // namespace Network
