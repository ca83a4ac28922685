// Help, hints and reports: what is sent, and what comes of it.

#include "Kernel/Json.h"
#include "Learning/RemoteControl.h"

#include "remote/calls/CallService.h"
#include "support/LeakCheck.h"
#include "support/Threads.h"
#include "tests/Allocations.h"
#include "tests/remote/RemoteTest.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <regex>
#include <stdexcept>
#include <thread>

namespace Learning {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Notes notifications in their order: "+" for a beginning and "-" for an end.
class Notes {
public:
    void Note(const Kernel::Notification& notification) {
        const bool isStart =
            dynamic_cast<const RemoteInferenceStartedNotification*>(&notification) != nullptr;
        const std::lock_guard lock(m_mutex);
        m_text += isStart ? '+' : '-';
    }
    std::string Take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_text, {});
    }

private:
    std::mutex m_mutex;
    std::string m_text;
    const Kernel::Broadcaster::Registration m_registration =
        RemoteInference::GetInstance().Register([this](const auto& n) { Note(n); });
};

class TextOperations : public RemoteTest {
protected:
    struct Operation {
        const char* name;
        std::function<Result(RemoteInference&, Kernel::String& text)> call;
        const char* ownKeys;
        bool isAnnounced;
    };
    static std::vector<Operation> GetOperations() {
        return {
            {"textToHelp",
             [](RemoteInference& client, Kernel::String& text) {
                 return client.InferTextToHelp("How?", "s 1", text);
             },
             R"("prompt":"How?","session":"s 1")", true},
            {"textToMCPHints",
             [](RemoteInference& client, Kernel::String& text) {
                 return client.InferTextToMCPHints("How?", "s 1", text);
             },
             R"("prompt":"How?","session":"s 1")", false},
            {"recordMCPHint",
             [](RemoteInference& client, Kernel::String&) { return client.RecordMCPHint("So."); },
             R"("hint":"So.")", false},
            {"reportMCPIssue",
             [](RemoteInference& client, Kernel::String&) {
                 return client.ReportMCPIssue("It \"fails\"\r\n", "E/1");
             },
             R"("code":"E/1","issue":"It \"fails\"\r\n")", false},
        };
    }

    Notes m_notes;
};

TEST_F(TextOperations, SendWhatTheServiceExpects) {
    Serve(Server::Reply(200, {}, "Thus."));
    m_client.SetUserCanDoInference(false);  // a note for the host alone
    for (const Operation& operation : GetOperations()) {
        Kernel::String text;
        EXPECT_EQ(operation.call(m_client, text).code, Success);
        EXPECT_EQ(m_notes.Take(), operation.isAnnounced ? "+-" : "");
        const Server::Request request = m_server->GetRequests().back();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.target, GetTarget(ServiceBaseUrl) + operation.name);
        EXPECT_EQ(*Server::FindHeader(request.headers, "Content-Type"), "application/json");
        EXPECT_EQ(*Server::FindHeader(request.headers, "Content-Length"),
                  std::to_string(request.body.size()));
        const std::string standard =
            R"({"client_build":32000,"custom_bearer":"","mirel_access_token":"",)"
            R"("mirel_api_url":"","mirel_user_id":"",)";
        EXPECT_EQ(*Kernel::Json::Parse(request.body),
                  *Kernel::Json::Parse(standard + operation.ownKeys + "}"));
    }
    EXPECT_EQ(m_server->GetConnectionCount(), 4);  // none is kept
    ASSERT_EQ(m_trace.GetMessages().size(), 1U);
    EXPECT_TRUE(std::regex_match(m_trace.GetMessages()[0].c_str(),
                                 std::regex("Text to help inference: [0-9.e+-]+ms\r\n")));
}

TEST_F(TextOperations, ReadCredentialsAfreshAndSendAnyText) {
    Serve(Server::Reply(200, {}, "Thus."));
    m_client.SetMirelAccessTokens("url", "token", "user");
    m_client.SetCustomBearer("bearer");
    EXPECT_EQ(m_client.RecordMCPHint("1").code, Success);
    EXPECT_EQ(m_server->GetRequests().back().body,
              R"({"client_build":32000,"custom_bearer":"bearer","hint":"1",)"
              R"("mirel_access_token":"token","mirel_api_url":"url","mirel_user_id":"user"})");
    RemoteInference copy = m_client;
    copy.SetCustomBearer("/\xFF\xC3\xA4\\");
    EXPECT_EQ(copy.RecordMCPHint(Kernel::String("\0\n", 2)).code, Success);
    EXPECT_EQ(m_server->GetRequests().back().body,
              "{\"client_build\":32000,\"custom_bearer\":\"/\xEF\xBF\xBD\xC3\xA4\\\\\","
              R"("hint":"\u0000\n","mirel_access_token":"token","mirel_api_url":"url",)"
              R"("mirel_user_id":"user"})");
    RemoteInference moved = std::move(copy);
    moved = m_client;
    EXPECT_EQ(moved.RecordMCPHint("2").code, Success);
    EXPECT_THAT(m_server->GetRequests().back().body, HasSubstr("\"bearer\""));
}

TEST_F(TextOperations, SendTextsOfAnyLength) {
    Serve(Server::Reply(200, {}, "Thus."));
    for (const std::size_t size : {16'000, 16'384, 1'000'000}) {
        const std::string hint(size, 'x');
        EXPECT_EQ(m_client.RecordMCPHint(Kernel::String(hint)).code, Success);
        EXPECT_THAT(m_server->GetRequests().back().body, HasSubstr("\"hint\":\"" + hint + "\","));
    }
}

TEST_F(TextOperations, EndWithAResultWhateverTheServiceDoes) {
    using Server::FormatHead;
    using Server::Reply;
    using Server::Send;
    Serve(Reply(200, {}, "redirected"));
    const std::string elsewhere = m_server->GetAddress();
    const std::unique_ptr<Support::TestServer> other = std::move(m_server);
    const struct {
        const char* name;
        Server::Script script;
        RemoteResult::Code code;
    } cases[] = {
        {"error", Reply(500, {}, "x"), Unknown},
        {"created", Reply(201, {}, "x"), Unknown},
        {"part", Reply(206, {{"Content-Range", "bytes 0-8/9"}}, "x"), Unknown},
        {"no content", {Send{FormatHead(204, {})}, Server::Close{}}, Unknown},
        {"redirect", Reply(307, {{"Location", elsewhere}}, "x"), Unknown},
        {"no HTTP", {Send{"SSH-2.0-x\r\n"}, Server::Close{}}, Broken},
        {"nothing", {Server::Abort{}}, Broken},
        {"cut off",
         {Send{FormatHead(200, {{"Content-Length", "9"}}) + "x"}, Server::Abort{}},
         Broken},
        {"reset",
         {Send{FormatHead(200, {{"Content-Length", "9"}}) + "x"}, Server::Reset{}},
         Broken},
        {"of unknown length", {Send{FormatHead(200, {}) + "x"}, Server::Close{}}, Broken},
        {"too long", Reply(200, {}, std::string((std::size_t{16} << 20) + 1, 'x')), Broken},
    };
    const Support::LeakCheck leaks;
    for (const Operation& operation : GetOperations()) {
        for (const auto& [name, script, code] : cases) {
            Serve(script);
            Kernel::String text;
            const Result result = operation.call(m_client, text);
            EXPECT_EQ(result.code, code) << operation.name << ": " << name;
            EXPECT_EQ(result.message, "");
            EXPECT_EQ(text, "") << operation.name << ": " << name;
            EXPECT_EQ(m_notes.Take(), operation.isAnnounced ? "+-" : "");
        }
        Server::ScriptedServer::Options options;
        options.identity = Support::GetAuthority().Issue();  // for another host
        Serve(Reply(200, {}, "x"), options);
        Kernel::String text = "as before";
        EXPECT_EQ(operation.call(m_client, text).code, Broken);
        m_server = nullptr;
        EXPECT_EQ(operation.call(m_client, text).code, Broken);
        EXPECT_EQ(text, "as before");
        m_notes.Take();
        m_routes.clear();
    }
}

TEST_F(TextOperations, HaveAnswersOfAnySize) {
    const std::string longest(std::size_t{16} << 20, 'x');
    Serve(Server::Reply(200, {}, longest));
    Kernel::String text;
    EXPECT_EQ(m_client.InferTextToMCPHints("", "", text).code, Success);
    EXPECT_EQ(text.size(), longest.size());
    Serve(Server::Reply(200, {}, R"( one\n\xFFtwo )"));
    EXPECT_EQ(m_client.InferTextToHelp("", "", text).code, Success);
    EXPECT_EQ(text, "one\n\\xFFtwo");
    EXPECT_EQ(m_client.InferTextToMCPHints("", "", text).code, Success);
    EXPECT_EQ(text, R"( one\n\xFFtwo )");

    // What decides about hints is whether there are any in the end.
    Serve(Server::Reply(500, {}, "x"));
    EXPECT_EQ(m_client.InferTextToMCPHints("", "", text).code, Success);
    EXPECT_NE(text, "");
    Serve(Server::Reply(200));
    EXPECT_EQ(m_client.InferTextToMCPHints("", "", text).code, Unknown);
    EXPECT_EQ(text, "");
    EXPECT_EQ(m_client.InferTextToHelp("", "", text).code, Success);
}

TEST_F(TextOperations, KeepSecretsToTheirRequests) {
    Serve(Server::Reply(500, {}, "canary-reply"));
    m_client.SetMirelAccessTokens("canary-url", "canary-token", "canary-user");
    m_client.SetCustomBearer("canary-bearer");
    for (const Operation& operation : GetOperations()) {
        Kernel::String text;
        operation.call(m_client, text);
        Server::Request request = m_server->GetRequests().back();
        EXPECT_THAT(request.body, HasSubstr("canary-token"));
        for (const auto& [name, value] : request.headers) {
            EXPECT_EQ((request.target + name + value).find("canary"), std::string::npos);
        }
    }
    m_server = nullptr;
    Kernel::String text;
    EXPECT_EQ(m_client.InferTextToHelp("canary-prompt", "", text).code, Broken);
    for (const auto& messages : {m_trace.GetMessages(), m_log.GetMessages()}) {
        for (const Kernel::String& message : messages) {
            EXPECT_EQ(std::string_view(message).find("canary"), std::string_view::npos) << message;
        }
    }
}

TEST_F(TextOperations, AnnounceTheFirstAndTheLastOfThoseThatRun) {
    Serve([](const Server::Request&) {
        Server::Script script = Server::Reply(200, {}, "Thus.");
        script.insert(script.begin(), Server::Wait{300ms});
        return script;
    });
    // A listener that fails keeps nobody from anything.
    const auto faulty = RemoteInference::GetInstance().Register([](const auto&) { throw 1; });
    Support::RunOnThreads(4, [](int) {
        Kernel::String text;
        RemoteInference client = RemoteInference::GetInstance();
        EXPECT_EQ(client.InferTextToHelp("", "", text).code, Success);
    });
    EXPECT_EQ(m_notes.Take(), "+-");
}

TEST_F(TextOperations, EndWhenTheyAreToldTo) {
    const struct {
        const char* name;
        Server::Script script;
        Server::ScriptedServer::Greeting greeting;
    } cases[] = {
        {"before TLS", {}, [](int) { return Server::Script{Server::WaitForClient}; }},
        {"without an answer", {Server::WaitForClient}, {}},
        {"amidst an answer",
         {Server::Send{Server::FormatHead(200, {{"Content-Length", "9"}}) + "x"},
          Server::WaitForClient},
         {}},
    };
    const Support::LeakCheck leaks;
    for (const auto& [name, script, greeting] : cases) {
        auto options = MakeOptions();
        options.greeting = greeting;
        Serve(script, options);
        Clock::duration quickest = 10s;
        for (const Operation& operation : GetOperations()) {
            RemoteControl outer;
            RemoteControl inner;
            Clock::time_point cancelled;
            std::jthread canceller([&] {
                std::this_thread::sleep_for(100ms);
                cancelled = Clock::now();
                outer.Cancel();
            });
            const RemoteControl::Scope outerScope(outer);
            const RemoteControl::Scope innerScope(inner);
            Kernel::String text;
            EXPECT_EQ(operation.call(m_client, text).code, Broken) << name;
            const Clock::time_point ended = Clock::now();
            canceller.join();
            // 100 ms at most on a machine that has nothing else to do; what hears of nothing waits
            // for 20 s.
            EXPECT_LT(ended - cancelled, 10s) << name << ": " << operation.name;
            quickest = std::min(quickest, ended - cancelled);
            EXPECT_TRUE(outer.IsCancelled());
            EXPECT_FALSE(inner.IsCancelled());
            EXPECT_EQ(m_notes.Take(), operation.isAnnounced ? "+-" : "");
            // And what comes after it does not even begin.
            EXPECT_EQ(operation.call(m_client, text).code, Broken) << name;
            EXPECT_EQ(m_notes.Take(), "");
        }
        EXPECT_LT(quickest, 1s) << name;  // others may slow down some, but not all
        m_server = nullptr;
    }
}

TEST_F(TextOperations, EndWithAResultWithoutMemoryToTellOfIt) {
    const auto fail = []() -> RemoteResult {
        const std::runtime_error error("there is no service");
        allocationsLeft = 0;
        throw error;
    };
    EXPECT_EQ(CallService(fail).code, Broken);
    EXPECT_EQ(allocationsLeft, -1);
}

TEST_F(TextOperations, EndBeforeALongTextIsSent) {
    const Kernel::String text(std::size_t{100} << 20, 'x');
    RemoteControl control([&control](const RemotePhase&) { control.Cancel(); });
    const RemoteControl::Scope scope(control);
    const std::clock_t begin = std::clock();  // of the processor: others may have most of it
    EXPECT_EQ(m_client.RecordMCPHint(text).code, Broken);
    EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC);
}

TEST_F(TextOperations, TellTheirControlsWhatTheyAreAbout) {
    Serve(Server::Reply(200, {}, "Thus."));
    std::string heard;
    const auto listen = [&heard](char sign) {
        return [&heard, sign](const RemotePhase& phase) {
            EXPECT_EQ(phase.kind, RemotePhase::Kind::Submitting);
            heard += sign;
            throw 1;  // fails nobody
        };
    };
    RemoteControl first(listen('1'));
    RemoteControl second(listen('2'));
    RemoteControl last;
    {
        const RemoteControl::Scope one(first);
        {
            const RemoteControl::Scope two(second);
            const RemoteControl::Scope three(last);
            EXPECT_EQ(m_client.RecordMCPHint("").code, Success);
            EXPECT_EQ(heard, "21");
            std::jthread([this] {  // another thread has none
                EXPECT_EQ(m_client.RecordMCPHint("").code, Success);
            })
                .join();
            EXPECT_EQ(heard, "21");
            second.Cancel();
            EXPECT_EQ(m_client.RecordMCPHint("").code, Broken);
        }
        EXPECT_EQ(m_client.RecordMCPHint("").code, Success);
        EXPECT_EQ(heard, "211");
    }
    EXPECT_EQ(m_client.RecordMCPHint("").code, Success);
    EXPECT_EQ(heard, "211");
}

}  // namespace
}  // namespace Learning
