#include "support/Threads.h"
#include "support/linux/LeakCheck.h"
#include "tests/NetworkTest.h"

#include <algorithm>
#include <atomic>
#include <optional>

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
    EXPECT_THAT(events, testing::ElementsAre("size", "Connecting to the server...",
                                             "Waiting for the server...", "read", "Receiving...",
                                             "response", "write", "flush", "success"));
    EXPECT_THAT(Record(Reply(204)), testing::Contains("response"));
}

TEST_F(HttpTest, EndsWithOneFailureWhateverThrows) {
    for (const char* const event :
         {"size", "Connecting to the server...", "Waiting for the server...", "read",
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

}  // namespace
}  // namespace Network
