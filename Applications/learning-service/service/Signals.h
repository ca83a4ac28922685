// The signals by which a user or the system speaks to this process.

#pragma once

#include <memory>

namespace Service {

class Wishes;

/// Sends Wish::End when Ctrl-C or SIGTERM comes, instead of ending the process; for SIGHUP sends
/// Wish::HangUp, or Wish::ReopenLog to a process that was started not to mind it (nohup). Writing
/// to a pipe whose reader has left fails, and nothing more. To be made before any other thread is
/// started, so that none takes the signals.
class Signals {
public:
    explicit Signals(Wishes& wishes);
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Service
