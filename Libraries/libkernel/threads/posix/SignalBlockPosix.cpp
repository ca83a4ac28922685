#include "threads/SignalBlock.h"

#include <csignal>

namespace Kernel {

struct SignalBlock::State {
    sigset_t signals;
};

SignalBlock::SignalBlock() : m_previous(std::make_unique<State>()) {
    sigset_t blocked;
    sigfillset(&blocked);
    // Blocked, these would end the process without the handler that a host or a debugger has.
    for (const int raised : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        sigdelset(&blocked, raised);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &m_previous->signals);
}

SignalBlock::~SignalBlock() {
    pthread_sigmask(SIG_SETMASK, &m_previous->signals, nullptr);
}

}  // namespace Kernel
