#include "Server/ScriptedServer.h"

#include "faults/Faults.h"
#include "support/TestFolder.h"
#include "support/posix/TestClient.h"

#include <gmock/gmock.h>

#include <chrono>

namespace Service {
namespace {

using Support::Received;
using Support::Seen;
using testing::HasSubstr;

/// What arrives of the body "0123456789" with `texts` as faults.
Received Fetch(const std::vector<std::string>& texts, const std::string& method = "GET",
               timeval patience = {10, 0}, const std::string& connection = "close") {
    Faults faults;
    for (const std::string& text : texts) {
        faults.Add(text);
    }
    Server::ScriptedServer::Options options;
    options.greeting = [&](int) { return faults.GetGreeting(); };
    const Server::ScriptedServer server(options, [&](const Server::Request& request) {
        Answer answer = MakeAnswer(request, {200, {{"ETag", "\"1\""}}, "0123456789"});
        faults.Apply(answer);
        return MakeScript(answer);
    });
    const Server::FileDescriptor client = Support::Connect(server.GetPort(), patience);
    Support::SendText(client, method + " /x HTTP/1.1\r\nConnection: " + connection + "\r\n\r\n");
    return Support::ReceiveAll(client);
}

const std::string Start = "HTTP/1.1 200 OK\r\nETag: \"1\"\r\n";
const std::string Plain = Start + "Content-Length: 10\r\nConnection: close\r\n\r\n";
const std::string NoLength = Start + "Connection: close\r\n\r\n";
const std::string Chunked = Start + "Connection: close\r\nTransfer-Encoding: chunked\r\n\r\n";

TEST(Faults, ShowOnTheWire) {
    const struct {
        std::vector<std::string> faults;
        std::string text;
        Seen seen = Seen::End;
    } cases[] = {
        {{}, Plain + "0123456789"},
        {{"silent"}, "", Seen::CutOff},
        {{"hang-up"}, ""},
        {{"noise"}, std::string(2000, '\xA5')},
        {{"corrupt=3"}, Plain + "012\xCC" + "456789"},
        {{"body=\\n a=b", "truncate=3"},
         Start + "Connection: close\r\nContent-Length: 6\r\n\r\n\\n "},
        {{"body="}, Start + "Connection: close\r\nContent-Length: 0\r\n\r\n"},
        {{"/x:truncate=4", "/y:reset=0", "/:reset=0"}, Plain + "0123"},
        {{"/x:truncate=4", "/x:truncate=5", "truncate=1"}, Plain + "01234"},
        {{"/*:truncate=1", "/x*:truncate=4", "/xy*:reset=0", "/x/*:reset=0"}, Plain + "0123"},
        {{"no-length"}, NoLength + "0123456789"},
        {{"chunked"}, Chunked + "a\r\n0123456789\r\n0\r\n\r\n"},
        {{"broken-chunk"}, Chunked + "a\r\n0123456789\r\nnot a size\r\n"},
        {{"truncate=4"}, Plain + "0123"},
        {{"abort=0"}, Plain},
        {{"reset=4"}, Plain + "0123", Seen::Reset},
        {{"stall=4"}, Plain + "0123", Seen::CutOff},
        {{"reset=10", "chunked", "corrupt=1"}, Chunked + "1\r\n0\r\n1\r\n\xCE", Seen::Reset},
        {{"truncate=1", "truncate=2"}, Plain + "01"},
    };
    for (const auto& [faults, text, seen] : cases) {
        const bool isSilence = seen == Seen::CutOff;
        const Received received = Fetch(faults, "GET", {isSilence ? 0 : 10, 500'000});
        EXPECT_EQ(received.text, text) << testing::PrintToString(faults);
        EXPECT_EQ(received.seen, seen) << testing::PrintToString(faults);
    }
}

TEST(Faults, LetNoConnectionBeKept) {
    const Received received = Fetch({"no-length"}, "GET", {5, 0}, "keep-alive");
    EXPECT_EQ(received.text, NoLength + "0123456789");
    EXPECT_EQ(received.seen, Seen::End);
}

TEST(Faults, OfOtherPathsLetConnectionsBeKept) {
    for (const auto& [path, isKept] : {std::pair{"/y", true}, {"/x", false}}) {
        Faults faults;
        faults.Add(path + std::string(":status=500"));
        const Server::Request request{"GET", "/x?query", {}, "", 1, false, ""};
        Answer answer = MakeAnswer(request, {200, {}, "0123456789"});
        faults.Apply(answer);
        EXPECT_EQ(std::holds_alternative<Server::Keep>(answer.ending.back()), isKept) << path;
        EXPECT_THAT(answer.statusLine, HasSubstr(isKept ? " 200 " : " 500 "));
    }
}

TEST(Faults, TakeTheirTime) {
    for (const char* const fault : {"drip=4", "slow-start=200"}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Fetch({fault}).text, Plain + "0123456789");
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
    }
}

TEST(Faults, ChangeTheHead) {
    const std::pair<const char*, const char*> cases[] = {
        {"status=503", "HTTP/1.1 503 Service Unavailable\r\n"},
        {"error=CREDITS_COOLDOWN:90",
         "\r\nContent-Type: application/json\r\nContent-Length: 31\r\n\r\n"
         "{\"error\":\"CREDITS_COOLDOWN:90\"}"},
        {"error=a\"b", "{\"error\":\"a\\\"b\"}"},
        {"/x:redirect=http://a/b", "\r\nLocation: http://a/b\r\n"},
        {"redirect=http://a/b", "\r\nLocation: http://a/b\r\n"},
        {"redirect=http://a/x", "HTTP/1.1 200 OK\r\n"},
        {"redirect-loop", "\r\nLocation: /x\r\n"},
        {"lying-length=+5", "\r\nContent-Length: 15\r\n"},
        {"lying-length=-20", "\r\nContent-Length: 0\r\n"},
        {"garbage-status", "\x01\x02 this is not HTTP\r\n"},
        {"huge-headers", "\r\nX-Filling-999: xxx"},
    };
    for (const auto& [fault, part] : cases) {
        EXPECT_THAT(Fetch({fault}).text, HasSubstr(part)) << fault;
    }
    EXPECT_EQ(Fetch({"chunked"}, "HEAD").text, Chunked);
    EXPECT_EQ(Fetch({"corrupt=1"}, "HEAD").text, Plain);
}

TEST(Faults, AreReadWithCare) {
    for (const char* const text :
         {"", "=", "nothing", "silent=1", "truncate", "truncate=", "truncate=-1", "truncate=+1",
          "truncate=1x", "truncate=99999999999999999999", "lying-length=1", "redirect=", "error",
          "error=", "/x", "/x:", "/x:nothing", "/x:silent"}) {
        EXPECT_THROW(Faults().Add(text), std::runtime_error) << text;
    }
    const Support::TestFolder folder;
    Faults faults;
    faults.AddFile(folder.At("nothing"));
    faults.AddFile(folder.Write("good", "# a remark\n\nhang-up \r\ntruncate=1"));
    EXPECT_TRUE(faults.GetGreeting());
    const auto addBadFile = [&] { faults.AddFile(folder.Write("bad", "silent\nsilence\n")); };
    EXPECT_THAT(addBadFile, testing::ThrowsMessage<std::runtime_error>(
                                HasSubstr("bad, line 2: there is no fault 'silence'")));
}

}  // namespace
}  // namespace Service
