#include "tests/TestSupport.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace Network {
namespace {

using HttpTest = NetworkTest;
using testing::ElementsAre;

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

Events WithoutProgress(Events events) {
    std::erase_if(events, [](const auto& event) { return event.starts_with("progress"); });
    return events;
}

TEST_F(HttpTest, CallsHandlersInTheirOrder) {
    const Events events = Record(Reply(200, {}, "body"));
    EXPECT_THAT(events, testing::Contains("progress 4/4 4/4"));
    EXPECT_THAT(WithoutProgress(events),
                ElementsAre("size", "Connecting to the server...", "Waiting for the server...",
                            "read", "Receiving...", "response", "write", "flush", "success"));
    EXPECT_THAT(WithoutProgress(Record(Reply(404))),
                ElementsAre("size", "Connecting to the server...", "Waiting for the server...",
                            "read", "response", "flush", "failure"));
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
    for (const Kernel::String& address : {server.GetAddress(), Kernel::String("Name.zip")}) {
        Http::Request request = MakeRequest(address);
        request.sink = Kernel::MakeCounted<RecordingSink>(holder);
        Http::DoRequest(std::move(request), {}, {}, {}, {}, {});
    }
    Await(holder);
    EXPECT_EQ(m_log.GetMessages().size(), 2U);
}

std::ptrdiff_t CountEntries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

TEST_F(HttpTest, LeavesNothingBehindUnderLoad) {
    Record(Reply(200));  // creates what lives as long as the process
    const auto files = CountEntries("/proc/self/fd");
    const auto threads = CountEntries("/proc/self/task");
    std::vector<RecorderPointer> recorders(8 * 30);
    {
        const std::string body(50'000, 'x');
        const Script scripts[] = {
            Reply(200, {}, body), Service::ReplyChunked(200, {}, body, 999), Reply(500),
            Script{Send{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"}, Service::Abort{}}};
        auto options = Encrypted();
        options.greeting = [](int connection) -> std::optional<Script> {
            return connection % 10 == 0 ? std::optional(Script{Service::Reset{}}) : std::nullopt;
        };
        const TestServer server(
            [&](const Service::Request& request) { return scripts[request.target.size() % 4]; },
            options);
        std::vector<std::jthread> starters;
        for (std::size_t i = 0; i < 8; ++i) {
            starters.emplace_back([&, i] {
                for (std::size_t k = i; k < recorders.size(); k += 8) {
                    recorders[k] = std::make_shared<Recorder>();
                    Http::Request request =
                        MakeRequest(server.GetAddress("/" + std::string(k % 4, 'x')));
                    request.sink = Kernel::MakeCounted<RecordingSink>(recorders[k]);
                    Start(std::move(request), recorders[k]);
                }
            });
        }
        starters.clear();
        std::ranges::for_each(recorders, Await);
    }
    std::ptrdiff_t successes = 0;
    for (const RecorderPointer& recorder : recorders) {
        const Events events = recorder->GetEvents();
        const auto count = std::ranges::count(events, "success");
        successes += count;
        EXPECT_EQ(count + std::ranges::count(events, "failure"), 1);
    }
    EXPECT_GE(successes, 120 - 24);  // every second, but for what is reset
    EXPECT_LE(successes, 120 + 8);
    for (int i = 0; i < 1000 && CountEntries("/proc/self/task") > threads; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_LE(CountEntries("/proc/self/task"), threads);
    EXPECT_LE(CountEntries("/proc/self/fd"), files);
}

}  // namespace
}  // namespace Network
