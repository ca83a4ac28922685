#include "Kernel/NeverDestroyed.h"
#include "Server/FileDescriptor.h"

#include "tests/NetworkTest.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>

namespace Network {
namespace {

using HttpProcessTest = NetworkTest;

TEST_F(HttpProcessTest, SaysThatThereIsNoThread) {
    pthread_attr_t usual;
    pthread_attr_t huge;
    pthread_getattr_default_np(&usual);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 60);  // more than any system has
    pthread_setattr_default_np(&huge);
    Http::Response response;
    Http::DoRequest(MakeRequest("http://127.0.0.1:1/"), {},
                    [&](const auto&, const auto& failed) { response = failed; }, {}, {}, {});
    pthread_setattr_default_np(&usual);
    EXPECT_EQ(response.reason, Http::FailureReason::Local);
    EXPECT_EQ(response.error, std::errc::resource_unavailable_try_again);
    EXPECT_EQ(m_log.GetMessages().size(), 1U);
}

TEST_F(HttpProcessTest, LeavesItsSocketsToNoChild) {
    const TestServer server(Script{Server::WaitForClient});
    const auto request = Http::DoRequest(MakeRequest(server.GetAddress()), {}, {}, {}, {}, {});
    while (server.GetRequests().empty()) {
        std::this_thread::yield();
    }
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        int domain = 0;
        socklen_t size = sizeof(domain);
        if (getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
            domain == AF_INET) {
            EXPECT_TRUE((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0) << descriptor;
        }
    }
    request->Cancel();
    request->Wait();
}

TEST_F(HttpProcessTest, SaysThatDescriptorsHaveRunOut) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the checks of undefined behaviour need descriptors of their own";
#endif
    const TestServer server(Reply(200));
    std::vector<Server::FileDescriptor> taken;
    for (int descriptor = 0; descriptor >= 0;) {
        descriptor = dup(1);
        taken.emplace_back(descriptor);
    }
    const auto response = Http::DoRequest(MakeRequest(server.GetAddress()), false);
    taken.clear();
    EXPECT_THAT(response.failure.c_str(), testing::HasSubstr("Too many open files"));
    EXPECT_EQ(response.reason, Http::FailureReason::Local);
}

constexpr const char* LeaverAddress = "ORVANTIS_TEST_LEAVER";

/// Keeps requests running, and leaves the process in the middle of them.
[[noreturn]] void LeaveWithRequests(const std::string& address) {
    static Kernel::NeverDestroyed<std::function<void()>> start;
    *start = [address] {
        const auto again = [](const auto&, const auto&) { (*start)(); };
        Http::DoRequest(MakeRequest(address), again, again, {}, {}, {});
    };
    for (int i = 0; i < 4; ++i) {
        (*start)();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(std::random_device()() % 60'000));
    std::exit(0);
}

// No fixture: its authority would start OpenSSL before libnetwork does.
TEST(HttpProcess, MayExitWhileRequestsRun) {
    if (const char* const address = std::getenv(LeaverAddress)) {
        LeaveWithRequests(address);
    }
    const TestServer server(Reply(200), Encrypted());
    setenv(LeaverAddress, server.GetAddress().c_str(), 1);
    const int count = std::getenv("ORVANTIS_SOAK") != nullptr ? 200 : 5;
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(std::system((self + " --gtest_filter=HttpProcess.* >/dev/null 2>&1").c_str()), 0);
    }
    unsetenv(LeaverAddress);
}

}  // namespace
}  // namespace Network
