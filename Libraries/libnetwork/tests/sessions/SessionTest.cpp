#include "Network/Routes.h"

#include "support/Threads.h"
#include "tests/sessions/SessionTesting.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <numeric>

namespace Network {
namespace {

TEST_F(SessionTest, KeepsConnectionsForItsRequestsAlone) {
    for (const bool isEncrypted : {false, true}) {
        const TestServer server(
            [](const Server::Request& r) { return ReplyAndKeep(200, {}, r.body); },
            Encrypted(isEncrypted));
        for (const auto method : {Http::Method::Get, Http::Method::Post, Http::Method::Get}) {
            EXPECT_EQ(Fetch(MakeRequest(server.GetAddress(), method)),
                      method == Http::Method::Post ? "job" : "");
        }
        const int count = isEncrypted && Support::HasWindowsTls ? 3 : 1;
        EXPECT_EQ(server.GetConnectionCount(), count);
        Http::DoRequest(Network::MakeRequest(server.GetAddress()), true);
        EXPECT_EQ(server.GetConnectionCount(), count + 1);
        m_session = Kernel::MakeCounted<Session>();
        Http::DoRequest(MakeRequest(server.GetAddress()), true);
        EXPECT_EQ(server.GetConnectionCount(), count + 2);
    }
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
    EXPECT_EQ(server.GetConnectionCount(), Support::HasWindowsTls ? 3 : 2);
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
            [&](const Server::Request& request) {
                return scripts[std::min(request.connection, 4) - 1];
            },
            Encrypted(isEncrypted));
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(Fetch(MakeRequest(server.GetAddress())), "right");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));  // all of it arrives
        }
        EXPECT_EQ(server.GetConnectionCount(), isEncrypted && Support::HasWindowsTls ? 5 : 4);
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
    EXPECT_LT(connections, 8 * 30 / 4 * (Support::HasWindowsTls ? 3 : 2));
}

}  // namespace
}  // namespace Network
