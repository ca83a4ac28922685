#include "server/ScriptedServer.h"
#include "tests/TestClient.h"
#include "tests/TestFolder.h"

#include <gmock/gmock.h>

#include <future>
#include <set>
#include <thread>

namespace Service {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using Testing::Received;
using Testing::Seen;
using testing::StartsWith;
using SteadyClock = std::chrono::steady_clock;

constexpr const char* Get = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
constexpr std::size_t Megabyte = 1'000'000;

const CertificateAuthority& GetAuthority() {
    static const CertificateAuthority Authority;
    return Authority;
}

ScriptedServer::Options OverTls() {
    ScriptedServer::Options options;
    options.identity = GetAuthority().Issue();
    return options;
}

ScriptedServer::Handler Always(Script script) {
    return [script = std::move(script)](const Request&) { return script; };
}

Received FetchOverTls(const ScriptedServer& server) {
    Testing::TlsClient client(server.GetPort(), GetAuthority().GetCertificate(), "localhost");
    EXPECT_TRUE(client.IsConnected());
    return client.Exchange(Get);
}

TEST(ScriptedServer, EndsConnectionsAsItsScriptSays) {
    // What was sent arrives in each case; it is more than fits the buffers of the system.
    const std::string text(8 * Megabyte, 'a');
    const struct {
        Step ending;
        Seen plain;
        Seen tls;
    } cases[] = {
        {Close{}, Seen::End, Seen::End},
        {Abort{}, Seen::End, Seen::CutOff},
        {Reset{}, Seen::Reset, Seen::Reset},
    };
    for (const auto& [ending, plain, tls] : cases) {
        const Script script{Send{text}, ending, Send{"never"}};
        const ScriptedServer plainServer({}, Always(script));
        const ScriptedServer tlsServer(OverTls(), Always(script));
        const Received overPlain = Testing::Exchange(plainServer.GetPort(), Get);
        const Received overTls = FetchOverTls(tlsServer);
        EXPECT_EQ(overPlain.seen, plain) << ending.index();
        EXPECT_EQ(overTls.seen, tls) << ending.index();
        EXPECT_TRUE(overPlain.text == text && overTls.text == text) << ending.index();
    }
}

TEST(ScriptedServer, DripsAndWaitsInOrder) {
    const ScriptedServer server(
        {}, Always({Wait{milliseconds(30)}, Drip{"abcde", 2, milliseconds(20)}, Send{"!"}}));
    const FileDescriptor client = Testing::Connect(server.GetPort());
    const auto start = SteadyClock::now();
    Testing::SendText(client, Get);
    std::vector<std::string> pieces;
    std::array<char, 16> buffer;
    for (ssize_t got = 0; (got = recv(client.Get(), buffer.data(), buffer.size(), 0)) > 0;) {
        pieces.emplace_back(buffer.data(), static_cast<std::size_t>(got));
        const auto due = milliseconds(10 + 20 * static_cast<int>(pieces.size()));
        EXPECT_GE(SteadyClock::now() - start, due);
    }
    EXPECT_THAT(pieces, testing::ElementsAre("ab", "cd", "e", "!"));
}

TEST(ScriptedServer, GreetsBeforeAnyRequestOrHandshake) {
    const std::string goodbye(2 * Megabyte, 'a');
    ScriptedServer::Options options = OverTls();
    options.greeting = [&goodbye](int connection) -> std::optional<Script> {
        switch (connection) {
            case 1:
                return Script{Send{"noise"}, Reset{}};
            case 2:
                return Script{Wait{milliseconds(50)}, Send{goodbye}};
            default:
                return {};
        }
    };
    const ScriptedServer server(options, Always(Reply(200)));
    const Received reset = Testing::ReceiveAll(Testing::Connect(server.GetPort()));
    EXPECT_EQ(reset.text, "noise");
    EXPECT_EQ(reset.seen, Seen::Reset);
    // All arrives, though the server never read what the client sent, and the client is slow.
    const FileDescriptor client = Testing::Connect(server.GetPort());
    Testing::SendText(client, std::string(100'000, 'x'));
    std::this_thread::sleep_for(milliseconds(100));
    const Received closed = Testing::ReceiveAll(client);
    EXPECT_TRUE(closed.text == goodbye);
    EXPECT_EQ(closed.seen, Seen::End);
    EXPECT_THAT(FetchOverTls(server).text, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(server.GetConnectionCount(), 3);
}

TEST(ScriptedServer, ReadsAndRecordsRequests) {
    const ScriptedServer server({}, Always(Reply(200)));
    EXPECT_FALSE(server.WaitForRequests(1, milliseconds(1)));
    const char* const request =
        "PUT /a%20b?c HTTP/1.1\r\nX-Empty:\r\nEXPECT: 100-continue\r\n"
        "transfer-encoding: Chunked\r\n\r\n3;x=y\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: "
        "t\r\n\r\n";
    EXPECT_THAT(Testing::Exchange(server.GetPort(), request).text,
                StartsWith("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n"));
    Testing::Exchange(server.GetPort(), "POST / HTTP/1.0\r\nContent-Length: 2\r\n\r\nxyz");
    ASSERT_TRUE(server.WaitForRequests(2, milliseconds(0)));
    const std::vector<Request> requests = server.GetRequests();
    EXPECT_EQ(requests[0].method, "PUT");
    EXPECT_EQ(requests[0].target, "/a%20b?c");
    EXPECT_EQ(requests[0].body, "abc0123456789");
    EXPECT_EQ(*FindHeader(requests[0].headers, "x-empty"), "");
    EXPECT_EQ(requests[1].body, "xy");
    EXPECT_EQ(requests[1].connection, 2);
}

TEST(ScriptedServer, RefusesWhatIsNoRequest) {
    ScriptedServer::Options options;
    options.maxBodySize = 100;
    const ScriptedServer server(options, [](const Request&) -> Script {
        throw std::runtime_error("the handler's own fault");
    });
    const std::string post = "POST / HTTP/1.1\r\n";
    std::string lines;
    for (int i = 0; i < 20'000; ++i) {
        lines += "a: b\r\n";
    }
    const struct {
        std::string request;
        const char* status;
    } cases[] = {
        {"\x16\x03\x01 is TLS\r\n\r\n", "400"},
        {"GET /\r\n\r\n", "400"},
        {"GET / HTTP/2\r\n\r\n", "400"},
        {"GET /\x1B[31m HTTP/1.1\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\nA: b\n c\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\n folded\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\nA: " + std::string(70'000, 'a'), "431"},
        {post + "Content-Length: 101\r\n\r\n", "413"},
        {post + "Content-Length: 99999999999999999999\r\n\r\n", "413"},
        {post + "Content-Length: -1\r\n\r\n", "400"},
        {post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n", "400"},
        {post + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n", "400"},
        {post + "Transfer-Encoding: gzip\r\n\r\n", "501"},
        {post + "Transfer-Encoding: chunked\r\n\r\n65\r\n", "413"},
        {post + "Transfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\n", "413"},
        {post + "Transfer-Encoding: chunked\r\n\r\n1\r\nab\r\n", "400"},
        {post + "Transfer-Encoding: chunked\r\n\r\n" + std::string(2000, '0'), "431"},
        {post + "Transfer-Encoding: chunked\r\n\r\n32\r\n" + std::string(50, 'a') + "\r\n33\r\n",
         "413"},
        {post + "Transfer-Encoding: chunked\r\n\r\n0\r\n" + lines, "431"},
        {Get, "500 Internal Server Error\r\n"},
    };
    for (const auto& [request, status] : cases) {
        const Received reply = Testing::Exchange(server.GetPort(), request);
        EXPECT_THAT(reply.text, StartsWith(std::string("HTTP/1.1 ") + status))
            << request.substr(0, 100);
        EXPECT_EQ(reply.seen, Seen::End);
    }
    EXPECT_EQ(server.GetRequests().size(), 1U);
}

TEST(ScriptedServer, EndsAtOnceWhateverGoesOn) {
    const Content file = std::string(100 * Megabyte, 'x');
    auto server = std::make_unique<ScriptedServer>(OverTls(), Always({Send{file}, WaitForClient}));
    auto plain = std::make_unique<ScriptedServer>(ScriptedServer::Options{},
                                                  Always({Send{file}, WaitForClient}));
    const FileDescriptor saysNothing = Testing::Connect(server->GetPort());
    const FileDescriptor takesNothing = Testing::Connect(plain->GetPort());
    Testing::SendText(takesNothing, Get);
    ASSERT_TRUE(plain->WaitForRequests(1, std::chrono::seconds(5)));
    const FileDescriptor halfRequest = Testing::Connect(plain->GetPort());
    Testing::SendText(halfRequest, "GET / HT");
    while (server->GetConnectionCount() + plain->GetConnectionCount() < 3) {
        std::this_thread::yield();
    }
    const auto start = SteadyClock::now();
    server.reset();
    plain.reset();
    EXPECT_LT(SteadyClock::now() - start, std::chrono::milliseconds(500));
}

TEST(ScriptedServer, OutlivesClientsThatLeaveEarly) {
    ScriptedServer::Options options;
    std::promise<Exchange> ended;
    options.observer = [&ended](const Exchange& exchange) { ended.set_value(exchange); };
    // What is sent to a client that has left with nothing unread raises SIGPIPE, if anything does.
    const ScriptedServer server(options,
                                Always({WaitForClient, Send{std::string(50 * Megabyte, 'x')}}));
    {
        const FileDescriptor client = Testing::Connect(server.GetPort());
        Testing::SendText(client, Get);
        ASSERT_TRUE(server.WaitForRequests(1, std::chrono::seconds(5)));
    }
    std::future<Exchange> future = ended.get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    const Exchange exchange = future.get();
    EXPECT_THAT(exchange.problem, HasSubstr("cannot send"));
    EXPECT_LT(exchange.bytesSent, 50 * Megabyte);
}

TEST(ScriptedServer, GivesUpClientsThatStall) {
    ScriptedServer::Options options = OverTls();
    options.idle = milliseconds(50);
    std::promise<Exchange> ended;
    options.observer = [&ended](const Exchange& exchange) { ended.set_value(exchange); };
    const ScriptedServer server(options, Always({}));
    Testing::Exchange(server.GetPort(), "\x16\x03");
    EXPECT_EQ(ended.get_future().get().problem, "the client sends nothing");
}

TEST(ScriptedServer, LetsConnectionsBeyondItsLimitWait) {
    ScriptedServer::Options options;
    options.maxConnections = 2;
    const ScriptedServer server(options, Always({Send{"."}, WaitForClient}));
    std::vector<FileDescriptor> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(Testing::Connect(server.GetPort()));
        Testing::SendText(clients.back(), Get);
    }
    ASSERT_TRUE(server.WaitForRequests(2, std::chrono::seconds(5)));
    EXPECT_FALSE(server.WaitForRequests(3, milliseconds(50)));
    clients[0].Close();
    EXPECT_TRUE(server.WaitForRequests(3, std::chrono::seconds(5)));
}

TEST(ScriptedServer, AnswersManyClientsAtOnce) {
    constexpr int ThreadCount = 8;
    constexpr int FetchCount = 25;
    const ScriptedServer server(OverTls(), [](const Request& request) {
        return ReplyChunked(200, {}, std::to_string(request.connection), 1);
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < ThreadCount; ++i) {
        threads.emplace_back([&server] {
            for (int fetch = 0; fetch < FetchCount; ++fetch) {
                EXPECT_THAT(FetchOverTls(server).text, testing::EndsWith("0\r\n\r\n"));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<int> connections;
    for (const Request& request : server.GetRequests()) {
        connections.insert(request.connection);
    }
    EXPECT_EQ(connections.size(), static_cast<std::size_t>(ThreadCount * FetchCount));
    EXPECT_EQ(*connections.rbegin(), ThreadCount * FetchCount);
}

TEST(ScriptedServer, SendsPartsOfFilesAndNoticesWhenTheyShrink) {
    const Testing::TestFolder folder;
    const std::string path = folder.Write("file", "0123456789" + std::string(Megabyte, 'x'));
    const Content file = Content::OfFile(path);
    const ScriptedServer server(OverTls(), [&](const Request&) {
        return Script{Send{file.Slice(2, 100).Slice(1, 6)}, Wait{milliseconds(1)}, Send{file}};
    });
    std::filesystem::resize_file(path, 9);
    const Received received = FetchOverTls(server);
    EXPECT_EQ(received.text, "345678012345678");
    EXPECT_EQ(received.seen, Seen::CutOff);
}

TEST(ScriptedServer, SaysWhenItsPortIsTaken) {
    const ScriptedServer server({}, Always({}));
    ScriptedServer::Options options;
    options.port = server.GetPort();
    try {
        const ScriptedServer second(options, Always({}));
        FAIL() << "two servers on one port";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "cannot listen on port " + std::to_string(options.port) +
                                    ": Address already in use");
    }
}

TEST(CertificateAuthority, IssuesWhatAClientAcceptsOrRefuses) {
    using Flaw = CertificateAuthority::Flaw;
    const struct {
        Flaw flaw;
        const char* host;
        long verifyResult;
    } cases[] = {
        {Flaw::None, "localhost", X509_V_OK},
        {Flaw::None, "models.example", X509_V_OK},
        {Flaw::None, "other.example", X509_V_ERR_HOSTNAME_MISMATCH},
        {Flaw::WrongName, "localhost", X509_V_ERR_HOSTNAME_MISMATCH},
        {Flaw::Expired, "localhost", X509_V_ERR_CERT_HAS_EXPIRED},
        {Flaw::SelfSigned, "localhost", X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT},
    };
    for (const auto& [flaw, host, verifyResult] : cases) {
        ScriptedServer::Options options;
        options.identity = GetAuthority().Issue(flaw, {"models.example"});
        const ScriptedServer server(options, Always({}));
        const Testing::TlsClient client(server.GetPort(), GetAuthority().GetCertificate(), host);
        EXPECT_EQ(client.GetVerifyResult(), verifyResult) << host;
        EXPECT_EQ(client.IsConnected(), verifyResult == X509_V_OK) << host;
    }
    EXPECT_THROW(GetAuthority().Issue(Flaw::None, {"a,DNS:evil"}), std::runtime_error);
}

}  // namespace
}  // namespace Service
