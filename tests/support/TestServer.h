// What tests of clients share: servers that they can trust, and a look at what clients leave
// behind.

#pragma once

#include "Server/ScriptedServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <utility>

namespace Support {

/// The authority behind all servers of a test program.
inline const Server::CertificateAuthority& GetAuthority() {
    static const Server::CertificateAuthority authority;
    return authority;
}

inline Server::ScriptedServer::Options Encrypted(bool isEncrypted = true) {
    Server::ScriptedServer::Options options;
    if (isEncrypted) {
        options.identity = GetAuthority().Issue();
    }
    return options;
}

/// A server that knows its address, and may give the same answer always.
class TestServer : public Server::ScriptedServer {
public:
    explicit TestServer(Handler handler, const Options& options = {})
        : ScriptedServer(options, std::move(handler)),
          m_address((options.identity ? "https://127.0.0.1:" : "http://127.0.0.1:") +
                    std::to_string(GetPort())) {}
    explicit TestServer(const Server::Script& script, const Options& options = {})
        : TestServer([script](const Server::Request&) { return script; }, options) {}

    std::string GetAddress(const std::string& path = "/") const { return m_address + path; }

private:
    const std::string m_address;
};

/// Expects at its end that this process has no more open files and threads than at its start.
class LeakCheck {
public:
    LeakCheck() = default;
    LeakCheck(const LeakCheck&) = delete;
    LeakCheck& operator=(const LeakCheck&) = delete;
    ~LeakCheck() {
        for (int wait = 0; wait < 500 && CountAll() > m_before; ++wait) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(10));  // some are on their way out
        }
        EXPECT_LE(CountAll(), m_before);
    }

private:
    static std::ptrdiff_t Count(const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }
    static std::ptrdiff_t CountAll() { return Count("/proc/self/fd") + Count("/proc/self/task"); }

    const std::ptrdiff_t m_before = CountAll();
};

}  // namespace Support
