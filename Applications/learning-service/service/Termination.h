// The signals by which a user or the system asks this process to end.

#pragma once

#include <memory>

namespace Kernel {
class Semaphore;
}

namespace Service {

/// Signals a semaphore when Ctrl-C or SIGTERM asks for the end, instead of ending the process. To
/// be made before any other thread is started, so that none takes the signals.
class Termination {
public:
    explicit Termination(Kernel::Semaphore& end);
    Termination(const Termination&) = delete;
    Termination& operator=(const Termination&) = delete;
    ~Termination();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Service
