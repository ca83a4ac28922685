#include "Network/Routes.h"

#include "tests/NetworkTest.h"

#include <sys/stat.h>

#include <string>

namespace Network {
namespace {

using AddressTrustTest = NetworkTest;

TEST_F(AddressTrustTest, MayBeRoutedElsewhereWhileItsCertificateMustFit) {
    using Flaw = Server::CertificateAuthority::Flaw;
    const auto& own = Support::GetAuthority();
    const Server::CertificateAuthority stranger;
    const auto fetch = [](const auto& authority, Flaw flaw) {
        ScriptedServer::Options options;
        options.identity = authority.Issue(flaw, {"models.orvantis.test"});
        const TestServer server(Reply(200), options);
        const ScopedRoute old("models.orvantis.test", "127.0.0.1", 9);
        const ScopedRoute route("models.orvantis.test", "127.0.0.1",
                                static_cast<std::uint16_t>(server.GetPort()));
        const auto response = Http::DoRequest(MakeRequest("https://models.orvantis.test/"), false);
        EXPECT_EQ(server.GetRequests().size(), response.failure.empty() ? 1U : 0U);
        return std::string(response.failure.c_str());
    };
    EXPECT_EQ(fetch(own, Flaw::None), "");
    EXPECT_THAT(fetch(own, Flaw::WrongName), testing::HasSubstr("name"));
    EXPECT_THAT(fetch(own, Flaw::Expired), testing::HasSubstr("expired"));
    EXPECT_THAT(fetch(own, Flaw::SelfSigned), testing::HasSubstr("self"));
    EXPECT_THAT(fetch(stranger, Flaw::None), testing::HasSubstr("issuer"));
    SetCertificateAuthorities("");  // the system's
    EXPECT_THAT(fetch(own, Flaw::None), testing::HasSubstr("issuer"));
    SetCertificateAuthorities(m_folder.At("missing.pem"));
    EXPECT_NE(fetch(own, Flaw::None), "");

    const std::string pipe = m_folder.At("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& endless : {pipe, std::string("/dev/zero")}) {
        SetCertificateAuthorities(endless);
        EXPECT_THAT(fetch(own, Flaw::None), testing::HasSubstr("a pipe or a device"));
    }
    SetCertificateAuthorities(m_folder.At("authority.pem") + std::string("\0x", 2));
    EXPECT_THAT(fetch(own, Flaw::None), testing::HasSubstr("authority.pem?x"));
}

}  // namespace
}  // namespace Network
