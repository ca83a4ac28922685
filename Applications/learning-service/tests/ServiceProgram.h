// The program as a process of its own.

#pragma once

#include "support/TestFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace Service::Testing {

/// Whether `isTrue` becomes so within ten seconds.
inline bool Await(const std::function<bool()>& isTrue) {
    for (int i = 0; i < 1000; ++i) {
        if (isTrue()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// The port in an announcement, after `start`; 0 if it is not there yet.
inline int FindPort(const std::string& text, const std::string& start = "http://127.0.0.1:") {
    const std::size_t at = text.find(start);
    return text.ends_with('\n') && at != std::string::npos
               ? std::stoi(text.substr(at + start.size()))
               : 0;
}

/// Serves the folder "packages" of `folder` on any port until it dies; the files "out" and "err" of
/// `folder` have what it writes.
class ServiceProgram {
public:
    /// `out`: where standard output goes instead, if not -1.
    ServiceProgram(const Support::TestFolder& folder, std::vector<std::string> options,
                   int out = -1)
        : m_folder(folder) {
        options.insert(options.begin(), {LEARNING_SERVICE_PROGRAM, "--packages",
                                         folder.At("packages"), "--port", "0"});
        std::vector<char*> arguments;
        std::ranges::transform(options, std::back_inserter(arguments),
                               [](std::string& word) { return word.data(); });
        arguments.push_back(nullptr);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t all;  // as a shell starts programs, whatever is ignored here
        sigfillset(&all);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        for (const auto& [number, name] :
             {std::pair{STDOUT_FILENO, "out"}, {STDERR_FILENO, "err"}}) {
            posix_spawn_file_actions_addopen(&files, number, folder.At(name).c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0600);
        }
        if (out != -1) {
            posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
        }
        EXPECT_EQ(posix_spawn(&m_process, LEARNING_SERVICE_PROGRAM, &files, &attributes,
                              arguments.data(), environ),
                  0);
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    ServiceProgram(const ServiceProgram&) = delete;
    ServiceProgram& operator=(const ServiceProgram&) = delete;
    ~ServiceProgram() {
        if (m_process > 0) {
            Signal(SIGKILL);
            Wait();
        }
    }

    void Signal(int signal) const { kill(m_process, signal); }
    /// The exit code, or -1 if a signal has ended it.
    int Wait() {
        int status = 0;
        if (!Await([&] { return waitpid(m_process, &status, WNOHANG) != 0; })) {
            Signal(SIGKILL);
            waitpid(m_process, &status, 0);
        }
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// The port that the file "out" tells.
    int GetPort() const {
        EXPECT_TRUE(Await([&] { return FindPort(Support::ReadFile(m_folder.At("out"))) != 0; }));
        return FindPort(Support::ReadFile(m_folder.At("out")));
    }

private:
    const Support::TestFolder& m_folder;
    pid_t m_process = 0;
};

}  // namespace Service::Testing
