// What only a process can show: signals, pipes, limits and clients that behave badly.

#include "service/OpenFiles.h"
#include "support/posix/TestClient.h"
#include "tests/EnvelopeText.h"
#include "tests/ServiceProgram.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <sstream>

namespace Service {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Support::Received;
using Testing::Await;
using testing::HasSubstr;
using Testing::ServiceProgram;
using testing::StartsWith;

class Program : public testing::Test {
protected:
    Program() { std::filesystem::create_directory(m_folder.At("packages")); }

    std::string ReadFile(const char* name) const { return Support::ReadFile(m_folder.At(name)); }

    const Support::TestFolder m_folder;
};

const std::string Get = "GET /Depth.zip HTTP/1.1\r\n\r\n";
const std::string CloseAfterwards = "GET /Depth.zip HTTP/1.1\r\nConnection: close\r\n\r\n";

TEST_F(Program, LetsNoSilentOrSlowClientKeepOthersOut) {
    m_folder.Write("packages/Depth.zip", "0123456789");
    const ServiceProgram program(m_folder, {"--max-connections", "4", "--request-timeout", "0.5"});
    const int port = program.GetPort();
    std::vector<Server::FileDescriptor> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(Support::Connect(port));
        Support::SendText(clients.back(), std::string("GET").substr(0, i % 4));
    }
    const auto start = Clock::now();
    EXPECT_THAT(Support::Exchange(port, Get).text, testing::EndsWith("0123456789"));
    EXPECT_LT(Clock::now() - start, 8s);
    EXPECT_GE(Clock::now() - start, 900ms);  // those before had their time, four by four
    EXPECT_THAT(Support::ReceiveAll(clients[3]).text, StartsWith("HTTP/1.1 408 "));
}

TEST_F(Program, KeepsConnectionsForSoLongAndSoManyRequests) {
    m_folder.Write("packages/Depth.zip", "0123456789");
    const ServiceProgram program(m_folder, {"--keep-alive", "0.2", "--max-requests", "3"});
    const int port = program.GetPort();
    const auto countAnswers = [&](int requests) {
        std::string text;
        for (int i = 0; i < requests; ++i) {
            text += Get;
        }
        const Received received = Support::Exchange(port, text);
        EXPECT_EQ(received.seen, Support::Seen::End);
        int count = 0;
        for (std::size_t at = 0;
             (at = received.text.find("\r\n\r\n0123456789", at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    };
    const auto start = Clock::now();
    EXPECT_EQ(countAnswers(2), 2);  // ends when the client stays silent
    EXPECT_GE(Clock::now() - start, 200ms);
    EXPECT_LT(Clock::now() - start, 4s);
    EXPECT_EQ(countAnswers(5), 3);
}

TEST_F(Program, LosesNoLineWhenItsLogIsRotatedUnderLoad) {
    m_folder.Write("packages/Depth.zip", "0123456789");
    const std::string log = m_folder.At("log");
    ServiceProgram program(m_folder, {"--log-file", log});
    const int port = program.GetPort();
    std::atomic<bool> isOver = false;
    std::atomic<int> answers = 0;
    const auto load = [&] {
        while (!isOver) {
            answers += Support::Exchange(port, CloseAfterwards).text.ends_with("0123456789")
                           ? 1
                           : 1'000'000;
        }
    };
    std::vector<std::jthread> clients;
    clients.emplace_back(load);
    clients.emplace_back(load);
    constexpr int Rotations = 5;
    for (int i = 0; i < Rotations; ++i) {
        const int before = answers;
        ASSERT_TRUE(Await([&] { return answers > before + 10; }));
        std::filesystem::rename(log, log + std::to_string(i));
        program.Signal(SIGHUP);
        ASSERT_TRUE(Await([&] { return std::filesystem::exists(log); }));
    }
    isOver = true;
    clients.clear();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0);
    std::string all;
    for (int i = 0; i < Rotations; ++i) {
        const std::string part = Support::ReadFile(log + std::to_string(i));
        EXPECT_GE(std::ranges::count(part, '\n'), 10);
        all += part;
    }
    all += Support::ReadFile(log);
    int requests = 0;
    std::istringstream lines(all);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, testing::ContainsRegex(
                              "^20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9:]{8}[+-][0-9]{2}:[0-9]{2} "));
        requests += line.find(" http GET /Depth.zip 200 ") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(requests, answers);
    EXPECT_THAT(all, testing::EndsWith(" the end\n"));
}

TEST_F(Program, EndsWithItsTerminalUnlessItHasALogFile) {
    ServiceProgram program(m_folder, {});
    program.GetPort();
    EXPECT_THAT(ReadFile("err"), HasSubstr("warning: there are no packages (*.zip) in "));
    program.Signal(SIGHUP);
    EXPECT_EQ(program.Wait(), 0);
}

TEST_F(Program, ServesThoughNobodyReadsItsLog) {
    m_folder.Write("packages/Depth.zip", "0123456789");
    for (const bool isReaderGone : {true, false}) {
        std::array<int, 2> pipe{};
        ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
        Server::FileDescriptor reader(pipe[0]);
        Server::FileDescriptor writer(pipe[1]);
        ServiceProgram program(m_folder, {}, writer.Get());
        writer.Close();
        std::string said;
        std::array<char, 4096> buffer;
        std::string rest(100'000, '\0');
        while (Testing::FindPort(said) == 0) {
            const ssize_t got = read(reader.Get(), buffer.data(), buffer.size());
            ASSERT_GT(got, 0);
            said.append(buffer.data(), static_cast<std::size_t>(got));
        }
        if (isReaderGone) {
            reader.Close();
        }
        // More than fits a pipe, whose reader may have stopped as well.
        const std::string target = "/Depth.zip?" + std::string(20'000, 'x');
        for (int i = 0; i < 6; ++i) {
            EXPECT_THAT(
                Support::Exchange(Testing::FindPort(said), "GET " + target + " HTTP/1.0\r\n\r\n")
                    .text,
                testing::EndsWith("0123456789"));
        }
        EXPECT_TRUE(Await([&] { return ReadFile("err").ends_with("; the service goes on\n"); }));
        if (!isReaderGone) {
            read(reader.Get(), rest.data(), rest.size());
            Support::Exchange(Testing::FindPort(said), CloseAfterwards);
            fcntl(reader.Get(), F_SETFL, O_NONBLOCK);
            EXPECT_TRUE(Await([&] {
                const ssize_t got = read(reader.Get(), rest.data(), rest.size());
                said.append(rest.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
                return said.find(" (lines lost here: ") != std::string::npos;
            }));
        }
        program.Signal(SIGTERM);
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(std::ranges::count(ReadFile("err"), '\n'), 1);
    }
}

/// A request for an operation as clients make it, with secrets.
std::string MakeRequest(const std::string& operation, Kernel::Json::Value members) {
    members["mirel_access_token"] = "canary-token";
    members["custom_bearer"] = "canary-bearer";
    const std::string body = Testing::MakeEnvelope(members);
    return "POST /v1/" + operation +
           " HTTP/1.1\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

TEST_F(Program, IsReachedByTheNamesOfItsCertificate) {
    const ServiceProgram program(
        m_folder, {"--https-port", "0", "--certificate", m_folder.At("ca.pem"), "--host",
                   "content.example", "--host", "inference.example"});
    program.GetPort();
    const std::string said = ReadFile("out");
    EXPECT_THAT(said, HasSubstr("also for content.example, inference.example: lead clients"));
    const int port = Testing::FindPort(said, "https://localhost:");
    for (const auto& [host, isKnown] : {std::pair{"content.example", true},
                                        {"inference.example", true},
                                        {"localhost", true},
                                        {"other.example", false}}) {
        const Received received = Support::ExchangeOverTls(
            port, ReadFile("ca.pem"),
            "GET /remote_inference_config HTTP/1.1\r\nConnection: close\r\n\r\n", false, host);
        EXPECT_EQ(received.text.starts_with("HTTP/1.1 200 "), isKnown) << host;
    }
}

TEST_F(Program, KeepsTheSecretsOfItsClients) {
    const std::string credentials =
        m_folder.Write("credentials", "mirel_access_token=canary-token\n");
    std::filesystem::permissions(credentials, std::filesystem::perms::owner_read);
    ServiceProgram program(m_folder, {"--credentials", credentials, "--records",
                                      m_folder.At("records"), "--log-file", m_folder.At("log")});
    const int port = program.GetPort();
    const auto ask = [&](const char* operation, const Kernel::Json::Value& members) {
        return Support::Exchange(port, MakeRequest(operation, members)).text;
    };
    const Kernel::Json::Value question{{"prompt", "sharpen"}, {"session", "canary-token"}};
    EXPECT_THAT(ask("textToHelp", question), HasSubstr("\r\n\r\nSharpening"));
    EXPECT_THAT(ask("recordMCPHint", {{"hint", "sharpen canary-bearer"}}), HasSubstr(" 200 "));
    EXPECT_THAT(ask("textToMCPHints", question), HasSubstr("\r\n\r\nsharpen (...)"));
    EXPECT_THAT(ask("reportMCPIssue", {{"issue", "canary-token"}, {"code", "E"}}),
                HasSubstr(" 200 "));
    EXPECT_THAT(ask("reportMCPIssue", {{"issue", 1}, {"code", "E"}}), HasSubstr(" 400 "));
    EXPECT_THAT(ask("textToNothing", {}), HasSubstr(" 404 "));
    EXPECT_THAT(ask("textToImageAsync", {{"prompt", "canary-token"}}), HasSubstr(" 400 "));
    EXPECT_THAT(Support::Exchange(port,
                                  "POST /v1/textToHelp HTTP/1.1\r\nContent-Type: "
                                  "application/json\r\nContent-Length: 1048577\r\n\r\n")
                    .text,
                HasSubstr(" 413 "));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0);
    for (const char* const file : {"out", "err", "log", "records"}) {
        EXPECT_EQ(ReadFile(file).find("canary"), std::string::npos) << file;
    }
    EXPECT_THAT(ReadFile("log"), HasSubstr(" http POST /v1/recordMCPHint 200 "));
}

TEST_F(Program, HelpsAThousandClientsAtATime) {
    ASSERT_TRUE(AllowOpenFiles(1100));
    const ServiceProgram program(m_folder, {});
    const int port = program.GetPort();
    std::vector<Server::FileDescriptor> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(Support::Connect(port, {30, 0}));
        Support::SendText(clients.back(), "POST");
    }
    const std::string request =
        MakeRequest("textToHelp", {{"prompt", "sharpen"}, {"session", ""}}).substr(4);
    for (const Server::FileDescriptor& client : clients) {
        Support::SendText(client, request);
    }
    for (const Server::FileDescriptor& client : clients) {
        EXPECT_THAT(Support::ReceiveAll(client).text, HasSubstr("\r\n\r\nSharpening"));
    }
}

/// An order for a small picture.
Kernel::Json::Value MakeOrder(const std::string& prompt) {
    return {{"model", "tidewell"},   {"aspect", 0},
            {"prompt", prompt},      {"negativeprompt", ""},
            {"enhanceprompt", "NO"}, {"style", "5453a998-1cc8-4bc2-9638-dc953f2a62aa"},
            {"num_images", 1},       {"mirel_access_token", "canary"}};
}

/// The text after `start` in `text`, up to the next quotation mark.
std::string FindValue(const std::string& text, const std::string& start) {
    const std::size_t at = text.find(start);
    EXPECT_NE(at, std::string::npos) << text;
    return at == std::string::npos
               ? ""
               : text.substr(at + start.size(),
                             text.find('"', at + start.size()) - at - start.size());
}

TEST_F(Program, DrawsWhatIsOrderedUnderTheNameOfItsClients) {
    const std::string faults = m_folder.Write("faults", "");
    const ServiceProgram program(
        m_folder, {"--pending", "300", "--picture-side", "32", "--fault-file", faults});
    const int port = program.GetPort();
    const std::string line = " HTTP/1.1\r\nHost: inference.example:77\r\n";
    const auto ask = [&](const char* operation, const Kernel::Json::Value& members) {
        std::string request = MakeRequest(operation, members);
        request.replace(request.find(" HTTP/1.1\r\n"), 11, line);
        return Support::Exchange(port, request).text;
    };
    const std::string job =
        FindValue(ask("textToImageAsync", MakeOrder("a canary")), "\"generation_id\":\"");
    const Kernel::Json::Value poll{{"generation_id", job + ":0"}};
    EXPECT_THAT(ask("pollGeneration", poll), HasSubstr("\r\n\r\n{\"status\":\"PENDING\"}"));
    std::string answer;
    EXPECT_TRUE(Await([&] {
        return (answer = ask("pollGeneration", poll))
                   .find("http://inference.example:77/v1/results/") != std::string::npos;
    }));
    const std::string path = FindValue(answer, "http://inference.example:77");
    const auto fetch = [&] {
        return Support::Exchange(
                   port, "GET " + path + " HTTP/1.0\r\nContent-Type: application/jpeg\r\n\r\n")
            .text;
    };
    EXPECT_THAT(fetch(), testing::AllOf(StartsWith("HTTP/1.1 200 "), HasSubstr("image/jpeg"),
                                        HasSubstr("\r\n\r\n\xFF\xD8\xFF")));
    m_folder.Write("faults", "/v1/pollGeneration:status=503\n/v1/results/*:error=GONE\n");
    EXPECT_THAT(ask("pollGeneration", poll), StartsWith("HTTP/1.1 503 "));
    EXPECT_THAT(fetch(), HasSubstr("{\"error\":\"GONE\"}"));
    EXPECT_TRUE(Await([&] { return ReadFile("out").find(" GET " + path) != std::string::npos; }));
    EXPECT_THAT(ReadFile("out"),
                HasSubstr(" accepted textToImageAsync, job " + job + ", pictures: 1\n"));
    EXPECT_EQ(ReadFile("out").find("canary"), std::string::npos);
}

TEST_F(Program, TakesNoMoreOrdersOfAThousandClientsThanItKeeps) {
    ASSERT_TRUE(AllowOpenFiles(1100));
    const ServiceProgram program(m_folder, {"--max-jobs", "300"});
    const int port = program.GetPort();
    std::string request = MakeRequest("textToImageAsync", MakeOrder("x"));
    request.insert(request.find("\r\n") + 2, "Host: localhost\r\n");
    std::vector<Server::FileDescriptor> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(Support::Connect(port, {30, 0}));
        Support::SendText(clients.back(), request);
    }
    int accepted = 0;
    for (const Server::FileDescriptor& client : clients) {
        const std::string text = Support::ReceiveAll(client).text;
        accepted += text.find("{\"generation_id\":\"") != std::string::npos ? 1 : 0;
        EXPECT_THAT(text, testing::AnyOf(HasSubstr("{\"generation_id\":\""),
                                         HasSubstr("{\"error\":\"TEMPORARILY_UNAVAILABLE\"}")));
    }
    EXPECT_EQ(accepted, 300);
}

TEST_F(Program, EndsAtOnceInTheMiddleOfADownload) {
    m_folder.Write("packages/Large.zip", "");
    constexpr std::size_t Size = 1'000'000'000;
    std::filesystem::resize_file(m_folder.At("packages/Large.zip"), Size);
    ServiceProgram program(m_folder, {});
    const Server::FileDescriptor client = Support::Connect(program.GetPort());
    Support::SendText(client, "GET /Large.zip HTTP/1.1\r\n\r\n");
    std::array<char, 100'000> start;
    EXPECT_EQ(recv(client.Get(), start.data(), start.size(), MSG_WAITALL), start.size());
    const auto asked = Clock::now();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_LT(Clock::now() - asked, 10s);
    EXPECT_LT(Support::ReceiveAll(client).text.size(), Size / 2);
    EXPECT_THAT(ReadFile("out"), HasSubstr(" (the server stops)\n"));
}

}  // namespace
}  // namespace Service
