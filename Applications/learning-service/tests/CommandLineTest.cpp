#include "Kernel/Semaphore.h"

#include "CommandLine.h"
#include "service/Wishes.h"
#include "support/TestFolder.h"
#include "support/posix/TestClient.h"
#include "time/LocalTime.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <future>
#include <sstream>

namespace Service {
namespace {

using testing::HasSubstr;

TEST(CommandLine, TellsWrongUseFromFailure) {
    const Support::TestFolder folder;
    const std::string packages = folder.At("");
    const std::string faults = folder.Write("f", "x");
    ASSERT_EQ(chmod(faults.c_str(), 0644), 0);
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } cases[] = {
        {{}, 2, "--packages is required"},
        {{"--packages", packages, "--prot", "80"}, 2, "unexpected arguments: --prot 80\n"},
        {{"--packages", packages, "--port", "65536"}, 2, "65536"},
        {{"--packages", packages, "--https-port", "0"}, 2, "requires --certificate"},
        {{"--packages", packages, "--listen", "0.0.0.0"}, 2, "0.0.0.0"},
        {{"--packages", packages, "--request-timeout", "0"}, 2, "--request-timeout"},
        {{"--packages", packages, "--keep-alive", "nan"}, 2, "not a number"},
        {{"--packages", packages, "--fault", "nothing"}, 2, "there is no fault 'nothing'"},
        {{"--packages", packages, "--https-port", "65536"}, 2, "65536"},
        {{"--packages", folder.At("no"), "--port", "65535", "--https-port", "65535",
          "--certificate", folder.At("ca.pem")},
         1,
         "No such file or directory"},
        {{"--packages", packages, "--host", "a.example"}, 2, "requires --https-port"},
        {{"--packages", packages, "--https-port", "0", "--certificate", folder.At("ca.pem"),
          "--host", "a b"},
         1,
         "'a b' is not a host name"},
        {{"--packages", packages, "--catalogue", folder.At("no")}, 1, "No such file"},
        {{"--packages", packages, "--credentials", faults}, 1, "chmod 600"},
        {{"--packages", packages, "--records", faults}, 1, "chmod 600"},
        {{"--packages", packages, "--fault-file", faults}, 1, "line 1: there is no fault 'x'"},
        {{"--packages", packages, "--fault-file", folder.At("pipe")}, 1, "a pipe or a device"},
    };
    for (const auto& [arguments, code, message] : cases) {
        std::ostringstream out;
        std::ostringstream err;
        Wishes wishes;
        EXPECT_EQ(RunService(arguments, out, err, wishes), code) << message;
        EXPECT_THAT(err.str(), HasSubstr(message));
        EXPECT_EQ(out.str(), "");
    }
}

TEST(LocalTime, IsThatOfTheTimeZone) {
    setenv("TZ", "XYZ-1:30", 1);
    tzset();
    EXPECT_EQ(FormatLocalTime(std::chrono::system_clock::from_time_t(3723)),
              "1970-01-01T02:32:03+01:30");
    unsetenv("TZ");
    tzset();
}

/// A stream's buffer that tells when the announcement is complete.
class Announcement : public std::stringbuf {
public:
    std::string Wait() {
        m_isComplete.Wait();
        return str();
    }

private:
    int sync() override {
        m_isComplete.Signal();
        return 0;
    }

    Kernel::Semaphore m_isComplete;
};

TEST(CommandLine, ServesAsItAnnouncesAndLogsEachRequest) {
    const Support::TestFolder folder;
    folder.Write("Depth.zip", "0123456789");
    for (const bool isForOneRequest : {false, true}) {
        std::vector<std::string> arguments{
            "--packages",    folder.At(""),       "--port",  "0",         "--https-port", "0",
            "--certificate", folder.At("ca.pem"), "--fault", "truncate=3"};
        if (isForOneRequest) {
            arguments.push_back("--once");
        }
        Announcement buffer;
        std::ostream out(&buffer);
        std::ostringstream err;
        Wishes wishes;
        auto code =
            std::async(std::launch::async, [&] { return RunService(arguments, out, err, wishes); });
        const std::string announced = buffer.Wait();
        const auto getPort = [&](const std::string& start) {
            return std::stoi(announced.substr(announced.find(start) + start.size()));
        };
        const char* const bad = "GET /Depth.zip HTTP/1.1\r\nHost: \x1B\r\n\r\n";
        EXPECT_THAT(Support::ExchangeOverTls(getPort("https://localhost:"),
                                             Support::ReadFile(folder.At("ca.pem")), bad)
                        .text,
                    testing::StartsWith("HTTP/1.1 400 "));
        const char* const good = "GET /Depth.zip HTTP/1.1\r\n\r\n";
        EXPECT_THAT(Support::Exchange(getPort("http://127.0.0.1:"), good).text,
                    testing::EndsWith("\r\n\r\n012"));
        if (!isForOneRequest) {
            EXPECT_EQ(code.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
            wishes.Send(Wish::End);
        }
        EXPECT_EQ(code.get(), 0);
        EXPECT_EQ(err.str(), "");
        EXPECT_THAT(buffer.str(), testing::ContainsRegex(" http GET /Depth.zip 200 [0-9]+ bytes "));
    }
}

}  // namespace
}  // namespace Service
