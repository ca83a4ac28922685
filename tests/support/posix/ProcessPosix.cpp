#include "support/Process.h"
#include "support/TestFolder.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace Support {

namespace {

std::vector<std::string> MakeEnvironment(const Command& command) {
    std::vector<std::string> lines;
    for (char** line = environ; *line != nullptr; ++line) {
        const std::string_view text = *line;
        const std::string_view name = text.substr(0, text.find('='));
        if (std::ranges::none_of(command.environment,
                                 [name](const auto& change) { return change.first == name; })) {
            lines.emplace_back(text);
        }
    }
    for (const auto& [name, value] : command.environment) {
        if (value) {
            lines.push_back(name + '=' + *value);
        }
    }
    return lines;
}

std::vector<char*> GetPointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

void WriteAll(int descriptor, const std::string& text) {
    sigset_t broken;  // a program need not read all
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken, nullptr);
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
        if (count <= 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    close(descriptor);
}

}  // namespace

struct Process::State {
    /// With the streams `in`, and the files "out" and "err".
    void Start(const Command& command, int in) {
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t all;  // as a terminal starts programs, whatever is ignored here
        sigfillset(&all);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, in, STDIN_FILENO);
        for (const auto& [number, name] :
             {std::pair{STDOUT_FILENO, "out"}, {STDERR_FILENO, "err"}}) {
            posix_spawn_file_actions_addopen(&files, number, folder.At(name).c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0600);
        }
        if (!command.folder.empty()) {
            posix_spawn_file_actions_addchdir_np(&files, command.folder.c_str());
        }
        std::vector<std::string> words = command.words;
        if (words.empty()) {
            words = {"/bin/sh", "-c", command.line};
        }
        std::vector<std::string> environment = MakeEnvironment(command);
        const int error = posix_spawnp(&process, words.front().c_str(), &files, &attributes,
                                       GetPointers(words).data(), GetPointers(environment).data());
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
        if (error != 0) {
            process = 0;
            throw std::runtime_error("cannot start " + words.front());
        }
    }

    TestFolder folder;
    pid_t process = 0;
    std::jthread writer;
};

Process::Process(const Command& command) : m_state(std::make_unique<State>()) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_state->Start(command, ends[0]);
    close(ends[0]);
    m_state->writer =
        std::jthread([end = ends[1], text = command.input.value_or("")] { WriteAll(end, text); });
}

Process::~Process() {
    if (m_state->process > 0) {
        Kill();
        Wait();
    }
}

void Process::End(Ending ending) const {
    kill(m_state->process, ending == Ending::Interrupt ? SIGINT : SIGTERM);
}

void Process::Kill() const {
    kill(m_state->process, SIGKILL);
}

Outcome Process::Wait() {
    int status = 0;
    waitpid(std::exchange(m_state->process, 0), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(m_state->folder.At("out")),
            ReadFile(m_state->folder.At("err"))};
}

}  // namespace Support
