// Programs as processes of their own.

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Support {

/// What is to be run. All texts are UTF-8.
struct Command {
    std::vector<std::string> words = {};  // the program and its arguments
    std::string line = {};                // in their place, one for sh or cmd.exe
    /// Environment variables that it gets besides ours, or does not get.
    std::vector<std::pair<std::string, std::optional<std::string>>> environment = {};
    std::string folder = {};                // where it runs; empty: where we do
    std::optional<std::string> input = {};  // what it reads, through a pipe; else nothing
};

/// What has come of it.
struct Outcome {
    int code;  // -1 if the system has ended it
    std::string out;
    std::string err;
};

/// The ways in which a user ends a program: Ctrl-C, or SIGTERM, which is Ctrl-Break on Windows.
enum class Ending { Interrupt, Terminate };

/// A running program. It does not outlive this object.
class Process {
public:
    /// Starts it. Throws std::runtime_error if that fails.
    explicit Process(const Command& command);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    /// On Windows this process has another console afterwards, or none, and does not end by these
    /// keys any more.
    void End(Ending ending) const;
    void Kill() const;
    /// Waits for its end.
    Outcome Wait();

private:
    struct State;
    const std::unique_ptr<State> m_state;
};

inline Outcome RunProcess(const Command& command) {
    return Process(command).Wait();
}

}  // namespace Support
