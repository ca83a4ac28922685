#include "Kernel/NeverDestroyed.h"
#include "Kernel/Semaphore.h"

#include "support/LeakCheck.h"
#include "support/Threads.h"
#include "tests/NetworkTest.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <optional>
#include <random>

namespace Network {
namespace {

using HttpTest = NetworkTest;

/// Notes that bytes go.
class RecordingSource : public Utf8DataSource {
public:
    RecordingSource(const char* text, RecorderPointer recorder)
        : Utf8DataSource(text), m_recorder(std::move(recorder)) {}
    std::uint64_t GetSize() const override {
        m_recorder->Note("size");
        return Utf8DataSource::GetSize();
    }
    std::size_t Read(std::uint64_t position, std::span<std::byte> buffer) const override {
        m_recorder->Note("read");
        return Utf8DataSource::Read(position, buffer);
    }

private:
    RecorderPointer m_recorder;
};

/// Notes that bytes come.
class RecordingSink : public DataSink {
public:
    explicit RecordingSink(RecorderPointer recorder) : m_recorder(std::move(recorder)) {}
    void Write(std::span<const std::byte> /*bytes*/) override { m_recorder->Note("write"); }
    void Flush() override { m_recorder->Note("flush"); }

private:
    RecorderPointer m_recorder;
};

/// What happens when `reply` comes to a request, and `throwsAt` throws.
Events Record(const Script& reply, const char* throwsAt = "") {
    const TestServer server(reply);
    const auto recorder = std::make_shared<Recorder>(throwsAt);
    Http::Request request = MakeRequest(server.GetAddress(), Http::Method::Post);
    request.body = Kernel::MakeCounted<RecordingSource>("text", recorder);
    request.sink = Kernel::MakeCounted<RecordingSink>(recorder);
    Start(std::move(request), recorder);
    Await(recorder);
    return recorder->GetEvents();
}

TEST_F(HttpTest, CallsHandlersInTheirOrder) {
    Events events = Record(Reply(200, {}, "body"));
    EXPECT_THAT(events, testing::Contains("progress 4/4 4/4"));
    std::erase_if(events, [](const auto& event) { return event.starts_with("progress"); });
    EXPECT_THAT(events, testing::ElementsAre("size", "read", "Connecting to the server...",
                                             "Waiting for the server...", "Receiving...",
                                             "response", "write", "flush", "success"));
    EXPECT_THAT(Record(Reply(204)), testing::Contains("response"));
}

TEST_F(HttpTest, EndsWithOneFailureWhateverThrows) {
    for (const char* const event :
         {"size", "read", "Connecting to the server...", "Waiting for the server...",
          "Receiving...", "response", "progress", "write", "flush"}) {
        const Events events = Record(Reply(200, {}, "body"), event);
        const auto isIt = [&](const std::string& e) { return e.starts_with(event); };
        EXPECT_EQ(std::ranges::find_if(events, isIt), events.end() - 2) << event;
        EXPECT_EQ(events.back(), "failure") << event;
        EXPECT_THAT(m_log.GetMessages().back().c_str(), testing::HasSubstr("callback failed"));
    }
}

TEST_F(HttpTest, LogsWhatACompletionHandlerThrows) {
    EXPECT_EQ(Record(Reply(200), "success").back(), "success");
    EXPECT_EQ(m_log.GetMessages().size(), 1U);
    EXPECT_EQ(Record(Reply(404), "failure").back(), "failure");
    EXPECT_EQ(m_log.GetMessages().size(), 3U);
}

TEST_F(HttpTest, NeedsNoHandlers) {
    const TestServer server(Reply(404, {}, "text"));
    const auto holder = std::make_shared<Recorder>();
    for (const std::string& address : {server.GetAddress(), std::string("Name.zip")}) {
        Http::Request request = MakeRequest(address);
        request.sink = Kernel::MakeCounted<RecordingSink>(holder);
        Http::DoRequest(std::move(request), {}, {}, {}, {}, {});
    }
    Await(holder);
    EXPECT_EQ(m_log.GetMessages().size(), 2U);
}

TEST_F(HttpTest, LeavesNothingBehindUnderLoad) {
    Record(Reply(200));  // creates what lives as long as the process
    const Support::LeakCheck leakCheck;
    const Script scripts[] = {
        Reply(200, {}, std::string(50'000, 'x')),
        Server::ReplyChunked(200, {}, "chunks", 1),
        Reply(500),
        {Send{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"}, Server::Abort{}}};
    auto options = Encrypted();
    options.greeting = [](int connection) -> std::optional<Script> {
        return connection % 10 == 0 ? std::optional(Script{Server::Reset{}}) : std::nullopt;
    };
    const TestServer server(
        [&](const Server::Request& request) { return scripts[request.target.size() % 4]; },
        options);
    std::atomic<std::ptrdiff_t> successes = 0;
    Support::RunOnThreads(8, [&](int /*thread*/) {
        std::vector<RecorderPointer> recorders(30);
        for (std::size_t i = 0; i < recorders.size(); ++i) {
            recorders[i] = std::make_shared<Recorder>();
            Start(MakeRequest(server.GetAddress("/" + std::string(i % 4, 'x'))), recorders[i]);
        }
        for (const RecorderPointer& recorder : recorders) {
            Await(recorder);
            const Events events = recorder->GetEvents();
            const auto count = std::ranges::count(events, "success");
            EXPECT_EQ(count + std::ranges::count(events, "failure"), 1);
            successes += count;
        }
    });
    EXPECT_NEAR(static_cast<double>(successes), 8 * 15, 24);  // every second, but for what is reset
}

// --- cancelling ---

struct Phase {
    const char* name;
    bool isEncrypted;
    bool isAtOnce;  // the script starts before the request is read
    Script script;
};

const Phase Phases[] = {
    {"Handshake", true, true, {Server::WaitForClient}},
    {"Upload", false, true, {Server::WaitForClient}},
    {"Waiting", true, false, {Server::WaitForClient}},
    {"Download",
     true,
     false,
     {Server::Drip{std::string(100'000, 'x'), 1, std::chrono::milliseconds(1)}}},
};

class Cancelling : public NetworkTest, public testing::WithParamInterface<Phase> {
protected:
    Cancelling() {
        if (GetParam().isAtOnce) {
            m_options.greeting = [](int /*connection*/) { return GetParam().script; };
        }
        m_server.emplace(GetParam().script, m_options);
        m_request = MakeRequest(m_server->GetAddress(), Http::Method::Post);
        m_request.body = Kernel::MakeCounted<Utf8DataSource>(Kernel::String(30'000'000, 'x'));
        m_request.allowsUnknownLength = true;
    }

    ScriptedServer::Options m_options = Encrypted(GetParam().isEncrypted);
    std::optional<TestServer> m_server;
    Http::Request m_request;
};

TEST_P(Cancelling, EndsRequestsOfBothForms) {
    using Http::FailureReason;
    std::atomic<int> failures = 0;
    const auto start = [&] {
        const auto count = [&](const Http::Request& /*request*/, const Http::Response& response) {
            failures += response.reason == FailureReason::Cancelled ? 1 : 100;
        };
        return Http::DoRequest(m_request, count, count, {}, {}, {});
    };
    auto awaitConnection = [&, before = 0]() mutable {
        while (m_server->GetConnectionCount() == before) {
            std::this_thread::yield();
        }
        before = m_server->GetConnectionCount();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    };
    const auto request = start();
    awaitConnection();
    EXPECT_FALSE(request->IsCancelled());
    request->Cancel();
    request->Wait();
    EXPECT_EQ(failures, 1);

    std::atomic<bool> abort = false;
    const auto run = [&] {
        failures += Http::DoRequest(m_request, false, &abort, {}).reason == FailureReason::Cancelled
                        ? 1
                        : 100;
    };
    std::thread blocking(run);
    awaitConnection();
    abort = true;
    blocking.join();
    EXPECT_EQ(failures, 2);

    abort = false;
    std::thread another(run);
    start();
    awaitConnection();
    Http::CancelAllRequests();
    another.join();
    EXPECT_EQ(failures, 4);
}

INSTANTIATE_TEST_SUITE_P(Http, Cancelling, testing::ValuesIn(Phases),
                         [](const auto& test) { return test.param.name; });

// With connections of their own and with those of a session, which must stay usable.
TEST_F(HttpTest, MayBeCancelledAtAnyMoment) {
    Record(Reply(200));  // creates what lives as long as the process
    const Support::LeakCheck leakCheck;
    const TestServer server(
        [](const Server::Request& request) -> Script {
            const Script reply = Server::ReplyAndKeep(200, {}, request.target);
            switch (request.target.size() % 3) {
                case 0:
                    return {reply[0], Server::WaitForClient};
                case 1:
                    return {reply[0], Server::Drip{request.target, 1, std::chrono::milliseconds(1)},
                            Server::Keep{}};
                default:
                    return reply;
            }
        },
        Encrypted());
    const auto session = Kernel::MakeCounted<Session>();
    std::mt19937 random(std::random_device{}());
    std::atomic<int> ended = 0;
    const int count = std::getenv("ORVANTIS_SOAK") != nullptr ? 1'000 : 50;
    for (int i = 0; i < count; ++i) {
        Http::Request request = MakeRequest(server.GetAddress("/" + std::string(i % 9, 'x')));
        request.session = i % 2 == 0 ? session : nullptr;
        const auto end = [&](const auto&, const auto&) { ++ended; };
        const auto running = Http::DoRequest(request, end, end, {}, {}, {});
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8'000));
        running->Cancel();
        running->Wait();
        ASSERT_EQ(ended, i + 1);
    }
    const auto stream = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    Http::Request request = MakeRequest(server.GetAddress("/x"));
    request.session = session;
    request.sink = Kernel::MakeCounted<StreamDataSink>(stream);
    Http::DoRequest(request, true);
    EXPECT_EQ(Support::GetText(*stream), "/x");
}

TEST_F(HttpTest, MayBeWaitedForAndCancelledByItsOwnHandlers) {
    const TestServer server(Reply(200));
    Kernel::Counted<Http::RunningRequest> request;
    Kernel::Semaphore isKnown;
    const auto end = [&](const auto&, const auto&) {
        isKnown.Wait();
        request->Cancel();
        request->Wait();
    };
    request = Http::DoRequest(MakeRequest(server.GetAddress()), end, {}, {}, {}, {});
    isKnown.Signal();
    request->Wait();
    EXPECT_TRUE(request->IsCancelled());
}

}  // namespace
}  // namespace Network
