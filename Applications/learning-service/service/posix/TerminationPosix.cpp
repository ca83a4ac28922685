#include "Kernel/Semaphore.h"

#include "service/Termination.h"

#include <unistd.h>

#include <csignal>
#include <thread>

namespace Service {

struct Termination::State {
    std::thread waiting;
};

Termination::Termination(Kernel::Semaphore& end) : m_state(std::make_unique<State>()) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // in all threads, which inherit it
    m_state->waiting = std::thread([signals, &end] {
        int signal = 0;
        sigwait(&signals, &signal);
        end.Signal();
    });
}

Termination::~Termination() {
    kill(getpid(), SIGTERM);  // ends the thread if no signal has come
    m_state->waiting.join();
}

}  // namespace Service
