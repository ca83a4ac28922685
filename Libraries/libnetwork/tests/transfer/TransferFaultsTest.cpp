#include "tests/NetworkTest.h"

namespace Network {
namespace {

using namespace std::chrono_literals;
using Server::Abort;
using Server::Close;
using Server::Drip;
using Server::Reset;
using Server::WaitForClient;

enum Flags : unsigned { Plain = 0, Tls = 1, Head = 2, AtOnce = 4, AnyLength = 8, Hasty = 16 };

struct Fault {
    const char* name;
    unsigned flags;  // AtOnce: before the server reads anything; Hasty: gives up after a second
    Script script;
    const char* outcome;  // "<status> <body>" of a whole response, "<status>!<failure>" of others
    const char* onWindows = nullptr;  // if it is another one there
};

void PrintTo(const Fault& fault, std::ostream* stream) {
    *stream << fault.name;
}

Script Say(const std::string& text) {
    return {Send{text}};
}

constexpr std::size_t MaximumBody = 1000;
const std::string Allowed(MaximumBody, 'x');
const std::string TooMuch = Allowed + 'x';
const std::string FarTooMuch(300'000, 'x');
const std::string Ok = "HTTP/1.1 200 OK\r\n";
const std::string Length9 = Ok + "Content-Length: 9\r\n\r\n";
const std::string Chunks = Ok + "Transfer-Encoding: chunked\r\n\r\n";

const std::string Codings = "Transfer-Encoding: gzip\r\n\r\n";

const Fault Faults[] = {
    // Unusual, but whole.
    {"NoContent", Plain, Say("HTTP/1.1 204 -\r\n\r\n"), "204 "},
    {"OldVersion", Plain, Say("HTTP/1.0 200 OK\nContent-Length: 1\n\na"), "200 a"},
    {"Continue", Plain, Say("HTTP/1.1 100 -\r\nA: b\r\n\r\n" + Length9 + "123456789"),
     "200 123456789"},
    {"HeadWithLength", Head, Say(Length9), "200 "},
    {"HeadWithoutLength", Head, Say(Ok + "\r\n"), "200 "},
    {"Chunks", Tls, Server::ReplyChunked(200, {}, "123456789", 2), "200 123456789"},
    {"MoreThanLength", Plain, Say(Length9 + "123456789 and more"), "200 123456789"},
    {"SlowButSteady", Hasty, {Send{Length9}, Drip{"123456789", 1, 300ms}}, "200 123456789"},
    {"UnknownLengthAllowed", AnyLength, Say(Ok + "\r\nabc"), "200 abc"},
    {"ChunksByAnotherName", Plain, Say(Ok + "Transfer-Encoding: Chunked\r\n\r\n0\r\n\r\n"), "200 "},
    {"Trailers", Plain,
     Say(Chunks + "3\r\nabc\r\n0\r\n" + Codings.substr(0, Codings.size() - 2) +
         "HTTP/1.1 500: -\r\nLocation: /\r\n\r\n"),
     "200 abc"},
    {"AsMuchAsMayBe", Plain, Reply(200, {}, Allowed), "200 x+"},
    {"LastSuccess", Plain, Reply(299, {}, "abc"), "299 abc"},
    // Whole, but no success.
    {"Choices", Plain, Reply(300, {}, "abc"), "300 abc"},
    {"Redirect", Plain, Reply(302, {}, "no location"), "302 no location"},
    {"RedirectWithoutLocation", Plain, Reply(302, {{"Location", ""}}, "abc"), "302 abc"},
    {"NotModified", Plain, Say("HTTP/1.1 304 -\r\n\r\n"), "304 "},
    // Cut off.
    {"CutByFin", Plain, Say(Length9 + "abc"), "200!.*6 bytes remaining.*"},
    {"CutByReset", Plain, {Send{Length9 + "abc"}, Reset{}}, "200!.*reset by peer.*", "200!.+"},
    {"CutOverTls", Tls, {Send{Length9 + "abc"}, Abort{}}, "200!.*6 bytes remaining.*", "200!.+"},
    {"CutInChunk", Plain, Say(Chunks + "9\r\nabc"), "200!.*transfer closed.*"},
    {"CutBeforeLastChunk", Plain, Say(Chunks + "3\r\nabc\r\n"), "200!.*transfer closed.*"},
    {"CutInHead", Plain, Say(Ok + "Content-Le"), "200!.*"},
    {"UnknownLength", Plain, Say(Ok + "\r\nabc"), "200!.*how long.*"},
    {"UnknownLengthInDisguise", Tls, Say("HTTP/2 200\r\n\r\nabc"), "200!.*how long.*",
     "0!.*version.*"},
    {"TooLargeALength", Plain, Say(Ok + "Content-Length: 99999999999999999999\r\n\r\nabc"),
     "200!.*how long.*"},
    {"UnknownEncoding", Plain, Say(Ok + "Transfer-Encoding: identity\r\n\r\nabc"),
     "200!.*not asked for.*"},
    {"Compressed", Plain, Say(Ok + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n"),
     "200!.*not asked for.*"},
    {"CompressedApart", Plain, Say(Chunks.substr(0, Chunks.size() - 2) + Codings + "0\r\n\r\n"),
     "200!.*not asked for.*"},
    {"NoReply", Plain, {Close{}}, "0!.*Empty reply.*"},
    {"Resets", AtOnce, {Reset{}}, "0!.*"},
    {"BreaksHandshake",
     Tls | AtOnce,
     {Send{"HTTP/1.1 200 OK\r\n\r\n"}, Close{}},
     "0!.*SSL.*",
     "0!.+"},
    // Silence.
    {"Silent", Hasty, {WaitForClient}, "0!.*neither sends.*"},
    {"SilentInHandshake", Tls | AtOnce | Hasty, {WaitForClient}, "0!.*timeout.*"},
    {"StallsInHead", Hasty, {Send{Ok + "Content-Le"}, WaitForClient}, "200!.*neither sends.*"},
    {"DripsAHeader", Hasty, {Send{Ok + "A: "}, Drip{TooMuch, 1, 9ms}}, "200!.*neither sends.*"},
    {"StallsInBody", Tls | Hasty, {Send{Length9 + "abc"}, WaitForClient}, "200!.*neither sends.*"},
    // Too much.
    {"LongHeader", Plain, Say(Ok + "A: " + FarTooMuch + "\r\n\r\n"), "200!.*: .+"},
    {"EndlessHeads", Plain, Script(300, Send{"HTTP/1.1 100 -\r\nA: " + TooMuch + "\r\n\r\n"}),
     "100!.*too many.*"},
    {"LargeBody", Plain, Reply(200, {}, TooMuch), "200!.*larger than.*"},
    {"LargeChunks", Plain, Server::ReplyChunked(200, {}, TooMuch, 99), "200!.*larger than.*"},
    // Nonsense.
    {"Garbage", Plain, Say("hello\r\n\r\n"), "0!.*HTTP/0.9.*"},
    {"UnknownVersion", Plain, Say("HTTP/9.9 200 OK\r\n\r\n"), "0!.*version.*"},
    {"SwitchedProtocol", Plain, Say("HTTP/1.1 101 -\r\nContent-Length: 0\r\n\r\n"), "101!.*"},
    {"ZeroByteInHeader", Plain, Say(Ok + std::string("A: \0\r\n\r\n", 8)), "200!.*header.*"},
    {"NegativeLength", Plain, Say(Ok + "Content-Length: -9\r\n\r\n123456789"),
     "200!.*Content-Length.*"},
    {"BadChunkSize", Plain, Say(Chunks + "zz\r\nabc\r\n0\r\n\r\n"), "200!.*chunk.*"},
    {"EndlessChunkSize", Plain, Say(Chunks + "fffffffffffffffffffff\r\nabc"), "200!.*chunk.*"},
    // Redirects to where none may lead.
    {"RedirectLoop", Plain, Reply(302, {{"Location", "/"}}), "302!.*more than 5 times.*"},
    {"RedirectToFile", Plain, Reply(302, {{"Location", "file:///etc/passwd"}}),
     "302!.*only http and https.*"},
    {"RedirectToFtp", Plain, Reply(302, {{"Location", "ftp://127.0.0.1:1/"}}),
     "302!.*only http and https.*"},
    {"RedirectToNonsense", Plain, Reply(302, {{"Location", "http://a b:c/"}}), "302!.*"},
};

class AnyServer : public NetworkTest, public testing::WithParamInterface<Fault> {};

TEST_P(AnyServer, EndsEachRequestAsItShould) {
    const auto& [name, flags, script, outcome, onWindows] = GetParam();
    auto options = Encrypted((flags & Tls) != 0);
    if ((flags & AtOnce) != 0) {
        options.greeting = [](int /*connection*/) { return GetParam().script; };
    }
    const TestServer server(script, options);
    Http::Request request = MakeRequest(
        server.GetAddress(), (flags & Head) != 0 ? Http::Method::Head : Http::Method::Get);
    if ((flags & Hasty) != 0) {
        request.timeout = request.replyTimeout = 0;  // the least is a second
    }
    request.allowsUnknownLength = (flags & AnyLength) != 0;
    const auto body = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    const auto sameBody = Kernel::MakeCounted<Kernel::MemoryInOutStream>();

    // Both forms at the same time, since some servers take theirs.
    const auto recorder = std::make_shared<Recorder>();
    request.sink = Kernel::MakeCounted<StreamDataSink>(sameBody, MaximumBody);
    Start(request, recorder);
    request.sink = Kernel::MakeCounted<StreamDataSink>(body, MaximumBody);
    const Http::Response response = Http::DoRequest(request, false);
    Await(recorder);

    const bool isWhole = response.failure.empty();
    EXPECT_THAT(std::to_string(response.status) + (isWhole ? " " : "!") +
                    (isWhole ? Support::GetText(*body) : response.failure.c_str()),
                testing::MatchesRegex(Support::HasWindowsTls && onWindows != nullptr ? onWindows
                                                                                     : outcome));
    const bool isSuccess = isWhole && response.status / 100 == 2;
    EXPECT_EQ(recorder->GetEvents().back(), isSuccess ? "success" : "failure");
    EXPECT_EQ(m_log.GetMessages().size(), isSuccess ? 0U : 1U);
    if (isWhole) {
        EXPECT_EQ(Support::GetText(*sameBody), Support::GetText(*body));
    }
}

INSTANTIATE_TEST_SUITE_P(, AnyServer, testing::ValuesIn(Faults), testing::PrintToStringParamName());

}  // namespace
}  // namespace Network
