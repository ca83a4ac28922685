#include "tests/sessions/SessionTesting.h"
#include "trust/posix/TrustStore.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

namespace Network {
namespace {

TEST_F(SessionTest, KeepsNoTrustThatWasWithdrawn) {
    const Server::CertificateAuthority stranger;
    const TestServer server(ReplyAndKeep(200), Encrypted());
    const auto reach = [&](std::string authorities) {
        authorities.resize(4096, '\n');
        const std::string path = m_folder.Write("new.pem", authorities);
        std::filesystem::last_write_time(path, {});  // neither size nor date tells of the change
        std::filesystem::rename(path, m_folder.At("changing.pem"));
        SetCertificateAuthorities(m_folder.At("changing.pem"));
        return Http::DoRequest(MakeRequest(server.GetAddress()), false).reason;
    };
    const std::string known = Support::GetAuthority().GetCertificate();
    EXPECT_EQ(reach(known), Http::FailureReason::None);
    EXPECT_EQ(reach(stranger.GetCertificate()), Http::FailureReason::Untrusted);
    SetCertificateAuthorities(m_folder.Write("other.pem", stranger.GetCertificate()));
    EXPECT_EQ(Http::DoRequest(MakeRequest(server.GetAddress()), false).reason,
              Http::FailureReason::Untrusted);

    const Kernel::String folder = m_folder.At("authorities");
    std::filesystem::create_directory(folder.c_str());
    const Kernel::String before = DescribeState({{}, folder});
    std::filesystem::last_write_time(folder.c_str(), {});  // one has come or gone
    EXPECT_NE(DescribeState({{}, folder}), before);
}

/// A server that speaks HTTP/2 and nothing else.
class Http2Server {
public:
    explicit Http2Server(const Support::TestFolder& folder) {
        const Server::Identity identity = Support::GetAuthority().Issue();
        const std::string key = folder.Write("key.pem", identity.privateKey);
        const std::string certificate = folder.Write("certificate.pem", identity.certificate);
        const std::string documents = "--htdocs=" + folder.At("");
        const std::string port = std::to_string(m_port);
        m_process = fork();
        if (m_process == 0) {
            execl(TEST_NGHTTPD, TEST_NGHTTPD, "--address=127.0.0.1", "--echo-upload",
                  documents.c_str(), port.c_str(), key.c_str(), certificate.c_str(), nullptr);
            _exit(127);
        }
    }
    Http2Server(const Http2Server&) = delete;
    Http2Server& operator=(const Http2Server&) = delete;
    ~Http2Server() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }

    std::string GetAddress(const std::string& path) const {
        return "https://127.0.0.1:" + std::to_string(m_port) + path;
    }

private:
    const int m_port = ScriptedServer({}, {}).GetPort();  // one that was free a moment ago
    pid_t m_process;
};

TEST_F(SessionTest, SpeaksHttp2WhereItIsOffered) {
    const std::string document(3'000'000, 'd');
    m_folder.Write("document", document);
    const Http2Server server(m_folder);
    const Http::Request get = MakeRequest(server.GetAddress("/document"));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Fetch(get) != document && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));  // it starts
    }
    EXPECT_TRUE(Fetch(get) == document);
    EXPECT_NE(Fetch(Network::MakeRequest(server.GetAddress("/document"))), document);

    Http::Request post = MakeRequest(server.GetAddress("/"), Http::Method::Post);
    EXPECT_EQ(Fetch(post), "job");
    post.writeBody = [&](const auto& body) { body->Write(std::as_bytes(std::span(document))); };
    EXPECT_TRUE(Fetch(post) == document);  // whose length nobody has said
    EXPECT_EQ(Http::DoRequest(MakeRequest(server.GetAddress("/none")), true).status, 404);
}

}  // namespace
}  // namespace Network
