#include "Network/Routes.h"

#include "support/Threads.h"
#include "tests/NetworkTest.h"
#include "trust/TrustStore.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <numeric>

namespace Network {
namespace {

using Server::ReplyAndKeep;

class SessionTest : public NetworkTest {
protected:
    Http::Request MakeRequest(const Kernel::String& address,
                              Http::Method method = Http::Method::Get) const {
        Http::Request request = Network::MakeRequest(address, method);
        request.session = m_session;
        if (method == Http::Method::Post) {
            request.body = Kernel::MakeCounted<Utf8DataSource>("job");
        }
        return request;
    }

    /// What `request` brings, or why it fails.
    static std::string Fetch(Http::Request request) {
        const auto stream = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
        request.sink = Kernel::MakeCounted<StreamDataSink>(stream, 10'000'000);
        const Http::Response response = Http::DoRequest(request, false);
        return response.failure.empty() ? Support::GetText(*stream) : response.failure.c_str();
    }

    Kernel::Counted<Session> m_session = Kernel::MakeCounted<Session>();
};

TEST_F(SessionTest, KeepsConnectionsForItsRequestsAlone) {
    for (const bool isEncrypted : {false, true}) {
        const TestServer server(
            [](const Server::Request& r) { return ReplyAndKeep(200, {}, r.body); },
            Encrypted(isEncrypted));
        for (const auto method : {Http::Method::Get, Http::Method::Post, Http::Method::Get}) {
            EXPECT_EQ(Fetch(MakeRequest(server.GetAddress(), method)),
                      method == Http::Method::Post ? "job" : "");
        }
        EXPECT_EQ(server.GetConnectionCount(), 1);
        Http::DoRequest(Network::MakeRequest(server.GetAddress()), true);
        EXPECT_EQ(server.GetConnectionCount(), 2);
        m_session = Kernel::MakeCounted<Session>();
        Http::DoRequest(MakeRequest(server.GetAddress()), true);
        EXPECT_EQ(server.GetConnectionCount(), 3);
    }
}

TEST_F(SessionTest, KeepsNoTrustThatWasWithdrawn) {
    const Server::CertificateAuthority stranger;
    const TestServer server(ReplyAndKeep(200), Encrypted());
    const auto reach = [&](const std::string& authorities) {
        SetCertificateAuthorities(m_folder.Write("changing.pem", authorities));
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

TEST_F(SessionTest, KeepsTunnelsForTheUserOfTheProxy) {
    auto options = Encrypted();
    options.isProxy = true;
    const TestServer server([](const Server::Request& r) { return ReplyAndKeep(200, {}, r.body); },
                            options);
    const std::string host = "@127.0.0.1:" + std::to_string(server.GetPort());
    for (const char* const user : {"a", "a", "b"}) {
        SetProxy(Kernel::String(user + host));
        EXPECT_EQ(Fetch(MakeRequest(server.GetAddress(), Http::Method::Post)), "job");
    }
    EXPECT_EQ(server.GetConnectionCount(), 2);
}

// Each gives its connection up to the next.
TEST_F(SessionTest, WatchesTheConnectionThatItUsesNext) {
    const std::string right = Server::FormatHead(200, {{"Content-Length", "5"}}) + "right";
    const Server::Wait wait{std::chrono::milliseconds(200)};
    const TestServer servers[] = {
        TestServer(Script{Send{right}, wait, Send{Server::FormatHead(404, {})}, Server::Keep{}}),
        TestServer(Script{Send{right}, Server::Keep{}})};
    for (const int i : {0, 1, 0}) {
        const ScopedRoute route("host.test", "127.0.0.1",
                                static_cast<std::uint16_t>(servers[i].GetPort()));
        EXPECT_EQ(Fetch(MakeRequest("http://host.test/")), "right");
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 400));  // all of it arrives
    }
}

// What a server does to a connection that is kept, and the requests that it sees of a second one.
TEST_F(SessionTest, TellsALostConnectionFromALostAnswer) {
    const struct {
        const char* name;
        Server::Step afterFirst;  // what ends the first exchange
        Server::Script atSecond;  // on the same connection
        std::size_t get, post;    // requests in all, of which each succeeds but
        bool isPostLost = false;
    } cases[] = {
        {"closes", Server::Close{}, {}, 2, 2},
        {"resets", Server::Reset{}, {}, 2, 2},
        {"closes when asked", Server::Keep{}, {Server::Abort{}}, 3, 2, true},
        {"resets when asked", Server::Keep{}, {Server::Reset{}}, 3, 2, true},
    };
    for (const auto& [name, afterFirst, atSecond, get, post, isPostLost] : cases) {
        for (const auto method : {Http::Method::Get, Http::Method::Post, Http::Method::Put}) {
            std::atomic<int> count = 0;
            const TestServer server([&](const Server::Request& request) {
                const bool isFirst = count++ == 0;
                return isFirst                   ? Script{ReplyAndKeep(200)[0], afterFirst}
                       : request.connection == 1 ? atSecond
                                                 : ReplyAndKeep(200);
            });
            Http::Request request = MakeRequest(server.GetAddress(), method);
            if (method == Http::Method::Put) {
                request.writeBody = [](const auto& body) {
                    body->Write(std::array<std::byte, 3>{});
                };
            }
            EXPECT_EQ(Fetch(request), "") << name;
            if (afterFirst.index() != Server::Step(Server::Keep{}).index()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the news arrives
            }
            const bool isLost = isPostLost && method != Http::Method::Get;
            const std::string second = Fetch(request);
            EXPECT_EQ(second.empty(), !isLost) << name << ": " << second;
            EXPECT_THAT(second, testing::Not(testing::HasSubstr("callback"))) << name;
            EXPECT_EQ(server.GetRequests().size(), method == Http::Method::Get ? get : post)
                << name;
        }
    }
}

// Whoever sends it may be a server whose replies go astray.
TEST_F(SessionTest, TakesNothingThatCameBeforeItsRequest) {
    const std::string head = Server::FormatHead(200, {{"Content-Length", "5"}});
    const Script scripts[] = {{Send{head + "right" + head + "wrong"}, Server::Keep{}},
                              {Send{head + "right"}, Send{head + "wrong"}, Server::Keep{}},
                              {Send{head}, Send{"right" + head + "wrong"}, Server::Keep{}},
                              ReplyAndKeep(200, {}, "right")};
    for (const bool isEncrypted : {false, true}) {
        const TestServer server(
            [&](const Server::Request& request) { return scripts[request.connection - 1]; },
            Encrypted(isEncrypted));
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(Fetch(MakeRequest(server.GetAddress())), "right");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));  // all of it arrives
        }
        EXPECT_EQ(server.GetConnectionCount(), 4);
    }
}

TEST_F(SessionTest, KeepsNoConnectionOfARequestThatWasEnded) {
    const TestServer server([](const Server::Request& request) {
        return request.target == "/slow"
                   ? Script{ReplyAndKeep(200, {}, "x")[0], Server::WaitForClient}
                   : ReplyAndKeep(200, {}, "right");
    });
    EXPECT_EQ(Fetch(MakeRequest(server.GetAddress())), "right");
    const auto slow = Http::DoRequest(MakeRequest(server.GetAddress("/slow")), {}, {}, {}, {}, {});
    ASSERT_TRUE(server.WaitForRequests(2, std::chrono::seconds(10)));
    slow->Cancel();
    slow->Wait();
    EXPECT_EQ(Fetch(MakeRequest(server.GetAddress())), "right");
    EXPECT_EQ(server.GetConnectionCount(), 2);
}

TEST_F(SessionTest, ServesManyThreadsAndOriginsAtOnce) {
    const auto echo = [](const Server::Request& r) { return ReplyAndKeep(200, {}, r.target); };
    std::vector<std::unique_ptr<TestServer>> servers;
    for (int i = 0; i < 12; ++i) {  // more than a session keeps connections
        servers.push_back(std::make_unique<TestServer>(echo, Encrypted(i % 2 == 1)));
    }
    Support::RunOnThreads(8, [&](int thread) {
        for (int i = 0; i < 30; ++i) {
            const std::string path = "/" + std::to_string(thread) + "/" + std::to_string(i);
            const auto& server = servers[static_cast<std::size_t>(thread + i / 5) % servers.size()];
            EXPECT_EQ(Fetch(MakeRequest(server->GetAddress(path))), path);
        }
    });
    const int connections = std::accumulate(
        servers.begin(), servers.end(), 0,
        [](int sum, const auto& server) { return sum + server->GetConnectionCount(); });
    EXPECT_LT(connections, 8 * 30 / 2);
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
