// What only a process can show: signals, pipes, limits and clients that behave badly.

#include "support/posix/TestClient.h"
#include "tests/ServiceProgram.h"

#include <gmock/gmock.h>

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

}  // namespace
}  // namespace Service
