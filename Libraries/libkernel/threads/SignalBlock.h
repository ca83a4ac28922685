// The signals that threads of this library do not take.

#pragma once

#include <memory>

namespace Kernel {

/// Blocks all signals of the calling thread but those that a thread raises itself, such as SIGSEGV,
/// and restores its signals at the end. Threads that are started meanwhile keep them blocked.
class SignalBlock {
public:
    SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;
    ~SignalBlock();

private:
    struct State;
    std::unique_ptr<State> m_previous;
};

}  // namespace Kernel
