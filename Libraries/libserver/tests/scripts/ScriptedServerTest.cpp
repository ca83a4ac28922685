#include "support/TestFolder.h"
#include "support/TestServer.h"
#include "support/posix/TestClient.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <map>

namespace Server {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Support::Encrypted;
using Support::Received;
using Support::Seen;
using Support::TestServer;
using testing::HasSubstr;
using testing::StartsWith;
using SteadyClock = std::chrono::steady_clock;

constexpr const char* Get = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
constexpr std::size_t Megabyte = 1'000'000;

Received FetchOverTls(const ScriptedServer& server) {
    return Support::ExchangeOverTls(server.GetPort(), Support::GetAuthority().GetCertificate(),
                                    Get);
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
        const Received overPlain = Support::Exchange(TestServer(script).GetPort(), Get);
        const Received overTls = FetchOverTls(TestServer(script, Encrypted()));
        EXPECT_EQ(overPlain.seen, plain) << ending.index();
        EXPECT_EQ(overTls.seen, tls) << ending.index();
        EXPECT_TRUE(overPlain.text == text && overTls.text == text) << ending.index();
    }
}

TEST(ScriptedServer, GreetsBeforeAnyRequestOrHandshake) {
    const std::string goodbye(2 * Megabyte, 'a');
    ScriptedServer::Options options = Encrypted();
    options.greeting = [&](int) { return Script{Wait{milliseconds(50)}, Send{goodbye}}; };
    const TestServer server(Script{}, options);
    // All arrives, though the server never read what the client sent, and the client is slow.
    const FileDescriptor client = Support::Connect(server.GetPort());
    Support::SendText(client, std::string(100'000, 'x'));
    std::this_thread::sleep_for(milliseconds(100));
    const Received closed = Support::ReceiveAll(client);
    EXPECT_TRUE(closed.text == goodbye);
    EXPECT_EQ(closed.seen, Seen::End);
}

TEST(ScriptedServer, ReadsNoMoreLargeBodiesAtATimeThanItHasRoomFor) {
    ScriptedServer::Options options;
    options.requestTime = seconds(1);
    options.maxBodiesSize = 250'000;
    options.bodyLimit = [](const Request& head) { return head.target == "/small" ? 9U : 300'000U; };
    const TestServer server(Reply(200), options);
    const auto send = [&](const std::string& target, std::size_t size) {
        const FileDescriptor client = Support::Connect(server.GetPort());
        Support::SendText(client, "PUT " + target + " HTTP/1.1\r\nExpect: 100-continue\r\n" +
                                      "Content-Length: " + std::to_string(size) + "\r\n\r\n");
        Support::SendText(client, std::string(size, 'x'));
        return Support::ReceiveAll(client).text;
    };
    const char* const continues = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 ";
    EXPECT_THAT(send("/small", 10), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(send("/small", 9), StartsWith(continues));
    EXPECT_THAT(send("/", 300'001), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(send("/", 300'000), StartsWith(continues));  // alone
    FileDescriptor slow = Support::Connect(server.GetPort());
    Support::SendText(slow, "PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\n");
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_THAT(send("/", 60'000), StartsWith(continues));
    EXPECT_THAT(send("/", 100'000), StartsWith("HTTP/1.1 503 "));
    slow.Close();
    EXPECT_THAT(send("/", 100'000), StartsWith(continues));
}

TEST(ScriptedServer, ReadsAndRecordsRequests) {
    const TestServer server(Reply(200));
    EXPECT_FALSE(server.WaitForRequests(1, milliseconds(1)));
    const char* const request =
        "PUT /a%20b?c HTTP/1.1\r\nX-Empty:\r\nEXPECT: 100-continue\r\n"
        "transfer-encoding: Chunked\r\n\r\n3;x=y\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: "
        "t\r\n\r\n";
    EXPECT_THAT(Support::Exchange(server.GetPort(), request).text,
                StartsWith("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n"));
    Support::Exchange(server.GetPort(), "POST / HTTP/1.0\r\nContent-Length: 2\r\n\r\nxyz");
    ASSERT_TRUE(server.WaitForRequests(2, milliseconds(0)));
    const std::vector<Request> requests = server.GetRequests();
    EXPECT_EQ(requests[0].method, "PUT");
    EXPECT_EQ(requests[0].target, "/a%20b?c");
    EXPECT_EQ(requests[0].body, "abc0123456789");
    EXPECT_EQ(*FindHeader(requests[0].headers, "x-empty"), "");
    EXPECT_EQ(requests[1].body, "xy");
    EXPECT_EQ(requests[1].connection, 2);
    // The server reads 16,384 bytes at a time: all but the last byte of this.
    const std::string start = "GET / HTTP/1.1\r\nA: ";
    const std::string filler(16'381 - start.size(), 'a');
    EXPECT_THAT(Support::Exchange(server.GetPort(), start + filler + "\r\n\r\n").text,
                StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST(ScriptedServer, AnswersFurtherRequestsOfConnectionsThatItKeeps) {
    std::atomic<int> observed = 0;
    ScriptedServer::Options options;
    options.observer = [&](const Exchange& exchange) {
        observed += exchange.statusLine == "HTTP/1.1 200 OK" ? 1 : 100;
    };
    {
        const TestServer server(
            [](const Request& r) {
                return r.target == "/last" ? Reply(200, {}, "c") : ReplyAndKeep(200, {}, r.body);
            },
            options);
        const std::string reply = Support::Exchange(server.GetPort(),
                                                    "POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\na"
                                                    "POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\nb"
                                                    "GET /last HTTP/1.1\r\n\r\n")
                                      .text;
        const std::string kept = "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n";
        EXPECT_EQ(reply, kept + "\r\na" + kept + "\r\nb" + kept + "Connection: close\r\n\r\nc");
    }
    EXPECT_EQ(observed, 3);
}

TEST(ScriptedServer, TellsWhichRequestsAreTheLastOfTheirConnections) {
    ScriptedServer::Options options;
    options.maxRequests = 2;
    const auto answer = [](const Request& request) {
        const std::string isLast = request.isLast ? "last" : "more";
        return request.isLast ? Reply(200, {}, isLast) : ReplyAndKeep(200, {}, isLast);
    };
    const TestServer server(answer, options);
    const std::string start = "GET / HTTP/1.1\r\n";
    const std::pair<std::string, int> cases[] = {
        // requests, and how many of them are answered
        {start + "Connection: keep-alive\r\n\r\n" + start + "\r\n" + start + "\r\n", 2},
        {start + "A: close\r\nConnection: TE , Close\r\n\r\n" + start + "\r\n", 1},
        {"GET / HTTP/1.0\r\n\r\n" + start + "\r\n", 1},
    };
    for (const auto& [requests, count] : cases) {
        const Received received = Support::Exchange(server.GetPort(), requests);
        EXPECT_EQ(received.seen, Seen::End) << requests;
        EXPECT_EQ(received.text.find("\r\n\r\nmore") != std::string::npos, count == 2) << requests;
        EXPECT_THAT(received.text, testing::EndsWith("\r\n\r\nlast")) << requests;
    }
    options.maxConnections = 1;  // a connection that is kept would keep the others out
    EXPECT_THAT(Support::Exchange(TestServer(answer, options).GetPort(), Get).text,
                testing::EndsWith("\r\n\r\nlast"));
}

TEST(ScriptedServer, RefusesWhatIsNoRequest) {
    ScriptedServer::Options options;
    options.maxBodySize = 100;
    const TestServer server(
        [](const Request&) -> Script { throw std::runtime_error("the handler's own fault"); },
        options);
    const std::string get = "GET / HTTP/1.1\r\n";
    const std::string post = "POST / HTTP/1.1\r\n";
    const std::string chunked = post + "Transfer-Encoding: chunked\r\n\r\n";
    std::string lines;
    for (int i = 0; i < 20'000; ++i) {
        lines += "a: b\r\n";
    }
    const std::map<std::string, std::vector<std::string>> cases{
        {"400",
         {"\x16\x03\x01 is TLS", "GET /\r\n\r\n", "GET / HTTP/2\r\n\r\n",
          "GET /\x1B[31m HTTP/1.1\r\n\r\n", get + "A: b\n c\r\n\r\n", get + " folded\r\n\r\n",
          post + "Content-Length: -1\r\n\r\n",
          post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n",
          post + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
          chunked + "1\r\nab\r\n"}},
        {"413",
         {post + "Content-Length: 101\r\n\r\n",
          post + "Content-Length: 99999999999999999999\r\n\r\n", chunked + "65\r\n",
          chunked + "ffffffffffffffff\r\n",
          chunked + "32\r\n" + std::string(50, 'a') + "\r\n33\r\n"}},
        {"431",
         {get + "A: " + std::string(70'000, 'a'), chunked + std::string(2000, '0'),
          chunked + "0\r\n" + lines}},
        {"500 Internal Server Error\r\n", {Get}},
        {"501", {post + "Transfer-Encoding: gzip\r\n\r\n"}},
    };
    for (const auto& [status, requests] : cases) {
        for (const std::string& request : requests) {
            const Received reply = Support::Exchange(server.GetPort(), request);
            EXPECT_THAT(reply.text, StartsWith("HTTP/1.1 " + status)) << request.substr(0, 100);
            EXPECT_EQ(reply.seen, Seen::End);
        }
    }
    EXPECT_EQ(server.GetRequests().size(), 1U);
}

TEST(ScriptedServer, AnswersAtOnceWhoSpeaksTheOtherProtocol) {
    const auto start = SteadyClock::now();
    const TestServer plain(Reply(200));
    const TestServer encrypted(Reply(200), Encrypted());
    const Received ofPlain = Support::Exchange(plain.GetPort(), "\x16\x03\x01\x02");
    const Received ofEncrypted = Support::Exchange(encrypted.GetPort(), Get);
    EXPECT_THAT(ofPlain.text, StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ofPlain.text, HasSubstr("this port speaks http, not https"));
    EXPECT_THAT(ofEncrypted.text, StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ofEncrypted.text, HasSubstr("this port speaks https, not http"));
    EXPECT_EQ(ofEncrypted.seen, Seen::End);
    EXPECT_LT(SteadyClock::now() - start, seconds(3));
}

TEST(ScriptedServer, EndsAtOnceWhateverGoesOn) {
    const Script script{Send{std::string(100 * Megabyte, 'x')}, WaitForClient};
    auto tls = std::make_unique<TestServer>(script, Encrypted());
    auto plain = std::make_unique<TestServer>(script);
    const FileDescriptor saysNothing = Support::Connect(tls->GetPort());
    const FileDescriptor takesNothing = Support::Connect(plain->GetPort());
    Support::SendText(takesNothing, Get);
    ASSERT_TRUE(plain->WaitForRequests(1, seconds(5)));
    const FileDescriptor halfRequest = Support::Connect(plain->GetPort());
    Support::SendText(halfRequest, "GET / HT");
    while (tls->GetConnectionCount() + plain->GetConnectionCount() < 3) {
        std::this_thread::yield();
    }
    const auto start = SteadyClock::now();
    tls.reset();
    plain.reset();
    EXPECT_LT(SteadyClock::now() - start, milliseconds(500));
}

TEST(ScriptedServer, SurvivesClientsThatLeaveEarlyAndGivesUpThoseThatStall) {
    std::promise<Exchange> ends[2];
    ScriptedServer::Options options;
    options.idle = milliseconds(50);
    options.observer = [&, i = 0](const Exchange& exchange) mutable {
        ends[i++].set_value(exchange);
    };
    // What is sent to a client that has left with nothing unread raises SIGPIPE, if anything does.
    const TestServer server(Script{WaitForClient, Send{std::string(50 * Megabyte, 'x')}}, options);
    {
        const FileDescriptor client = Support::Connect(server.GetPort());
        Support::SendText(client, Get);
        ASSERT_TRUE(server.WaitForRequests(1, seconds(5)));
    }
    const Exchange left = ends[0].get_future().get();
    EXPECT_THAT(left.problem, HasSubstr("cannot send"));
    EXPECT_LT(left.bytesSent, 50 * Megabyte);
    Support::Exchange(server.GetPort(), "GET / HT");
    EXPECT_EQ(ends[1].get_future().get().problem, "the request takes too long");
}

TEST(ScriptedServer, GivesUpClientsAfterTheirTime) {
    for (const bool isEncrypted : {false, true}) {
        ScriptedServer::Options options = Encrypted(isEncrypted);
        options.requestTime = milliseconds(300);
        options.keepTime = milliseconds(50);
        const TestServer server(ReplyAndKeep(200), options);
        const auto start = SteadyClock::now();
        const FileDescriptor isSilent = Support::Connect(server.GetPort());
        const FileDescriptor isSlow = Support::Connect(server.GetPort());
        const std::string bytes = isEncrypted ? std::string("\x16\x03\x01\x01", 4) : "GET / HT";
        for (const char& byte : bytes + std::string(16, '\1')) {  // 480 ms, never 300 of silence
            Support::SendText(isSlow, {&byte, 1});
            std::this_thread::sleep_for(milliseconds(20));
        }
        EXPECT_EQ(Support::ReceiveAll(isSilent).text, "");
        EXPECT_THAT(Support::ReceiveAll(isSlow).text,
                    StartsWith(isEncrypted ? "" : "HTTP/1.1 408 Request Timeout\r\n"));
        EXPECT_GE(SteadyClock::now() - start, milliseconds(300));
        EXPECT_LT(SteadyClock::now() - start, seconds(3));
    }
    ScriptedServer::Options options;
    options.keepTime = milliseconds(50);
    const TestServer server(ReplyAndKeep(200), options);
    EXPECT_EQ(Support::Exchange(server.GetPort(), Get).seen, Seen::End);
}

TEST(ScriptedServer, TakesTheEndOfTlsForThatOfTheClientAndNothingElse) {
    for (const auto& [saysEnd, problem] :
         {std::pair{true, "the client left in the middle of its request"},
          {false, "the request takes too long"}}) {
        std::promise<Exchange> end;
        ScriptedServer::Options options = Encrypted();
        options.idle = milliseconds(500);
        options.observer = [&](const Exchange& exchange) { end.set_value(exchange); };
        const TestServer server(Script{}, options);
        const Received received = Support::ExchangeOverTls(
            server.GetPort(), Support::GetAuthority().GetCertificate(), "GET", saysEnd);
        EXPECT_THAT(received.text, StartsWith(saysEnd ? "" : "HTTP/1.1 408 "));
        EXPECT_EQ(end.get_future().get().problem, problem);
    }
}

TEST(ScriptedServer, LetsConnectionsBeyondItsLimitWait) {
    ScriptedServer::Options options;
    options.maxConnections = 2;
    const TestServer server(Script{Send{"."}, WaitForClient}, options);
    std::vector<FileDescriptor> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(Support::Connect(server.GetPort()));
        Support::SendText(clients.back(), Get);
    }
    ASSERT_TRUE(server.WaitForRequests(2, seconds(5)));
    EXPECT_FALSE(server.WaitForRequests(3, milliseconds(50)));
    clients[0].Close();
    EXPECT_TRUE(server.WaitForRequests(3, seconds(5)));
}

TEST(ScriptedServer, AnswersWhileManyConnectionsAreIdle) {
    const TestServer server(Script{Send{"."}, WaitForClient});
    std::vector<FileDescriptor> clients;
    for (int i = 0; i < 100; ++i) {  // four of five say nothing, the others wait for the end
        clients.push_back(Support::Connect(server.GetPort()));
        if (i % 5 == 4) {
            Support::SendText(clients.back(), Get);
        }
    }
    EXPECT_TRUE(server.WaitForRequests(20, seconds(5)));
    EXPECT_EQ(server.GetConnectionCount(), 100);
}

TEST(ScriptedServer, SendsPartsOfFilesAndNoticesWhenTheyShrink) {
    const Support::TestFolder folder;
    const std::string path = folder.Write("file", "0123456789" + std::string(Megabyte, 'x'));
    const Content file = Content::OfFile(path);
    const TestServer server(
        Script{Send{file.Slice(2, 100).Slice(1, 6)}, Wait{milliseconds(1)}, Send{file}},
        Encrypted());
    std::filesystem::resize_file(path, 9);
    const Received received = FetchOverTls(server);
    EXPECT_EQ(received.text, "345678012345678");
    EXPECT_EQ(received.seen, Seen::CutOff);
}

/// Whether something listens on ::1, as seen by `server` answering with the client's address.
bool AnswersOverIPv6(const ScriptedServer& server) {
    const FileDescriptor client = Support::ConnectOverIPv6(server.GetPort());
    Support::SendText(client, Get);
    return Support::ReceiveAll(client).text.find("\r\n\r\n[::1]:") != std::string::npos;
}

TEST(ScriptedServer, ListensOnTheAddressesThatItIsGiven) {
    const auto answer = [](const Request& request) { return Reply(200, {}, request.peer); };
    ScriptedServer::Options options;
    EXPECT_FALSE(AnswersOverIPv6(TestServer(answer, options)));
    options.loopback = Loopback::Both;
    const TestServer both(answer, options);
    const std::string port = std::to_string(both.GetPort());
    EXPECT_THAT(Support::Exchange(both.GetPort(), Get).text, HasSubstr("\r\n\r\n127.0.0.1:"));
    if (both.GetAddresses() == std::vector<std::string>{"127.0.0.1:" + port}) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    EXPECT_THAT(both.GetAddresses(), testing::ElementsAre("127.0.0.1:" + port, "[::1]:" + port));
    EXPECT_TRUE(AnswersOverIPv6(both));
    options.loopback = Loopback::IPv6;
    const TestServer only6(answer, options);
    EXPECT_TRUE(AnswersOverIPv6(only6));
    EXPECT_EQ(Support::Exchange(only6.GetPort(), Get).text, "");
    options.loopback = Loopback::Both;  // what speaks for one of the names must not be another one
    options.port = only6.GetPort();
    EXPECT_THROW(TestServer(answer, options), std::runtime_error);
}

TEST(ScriptedServer, SaysWhenItsPortIsTaken) {
    const TestServer server(Script{});
    ScriptedServer::Options options;
    options.port = server.GetPort();
    const auto startSecond = [&] { TestServer(Script{}, options); };
    EXPECT_THAT(startSecond, testing::ThrowsMessage<std::runtime_error>(
                                 HasSubstr(std::to_string(options.port) + ": Address already")));
}

// Whether a client takes or refuses what is issued is tested with the client, in libnetwork.
TEST(CertificateAuthority, IssuesForWeeksUnlessItIsToHaveExpired) {
    const CertificateAuthority& authority = Support::GetAuthority();
    for (const auto& [text, days] :
         {std::pair{authority.GetCertificate(), 30},
          {authority.Issue().certificate, 29},
          {authority.Issue(CertificateAuthority::Flaw::Expired).certificate, -1}}) {
        const BioPointer pem(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
        const CertificatePointer read(PEM_read_bio_X509(pem.get(), nullptr, nullptr, nullptr));
        int left = 0;
        int leftSeconds = 0;
        ASN1_TIME_diff(&left, &leftSeconds, nullptr, X509_get0_notAfter(read.get()));
        EXPECT_NEAR(left * 86'400 + leftSeconds, days * 86'400, 60);
    }
}

TEST(CertificateAuthority, LetsNoNameBringInOthers) {
    EXPECT_THROW(Support::GetAuthority().Issue({}, {"a,DNS:evil"}), std::runtime_error);
}

}  // namespace
}  // namespace Server
