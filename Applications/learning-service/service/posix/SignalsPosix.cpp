#include "service/Signals.h"
#include "service/Wishes.h"

#include <unistd.h>

#include <csignal>
#include <thread>

namespace Service {

struct Signals::State {
    std::thread waiting;
};

Signals::Signals(Wishes& wishes) : m_state(std::make_unique<State>()) {
    struct sigaction hangUp {};
    sigaction(SIGHUP, nullptr, &hangUp);
    const Wish onHangUp = hangUp.sa_handler == SIG_IGN ? Wish::ReopenLog : Wish::HangUp;
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // in all threads, which inherit it
    m_state->waiting = std::thread([signals, onHangUp, &wishes] {
        for (int signal = SIGHUP; signal == SIGHUP;) {
            sigwait(&signals, &signal);
            wishes.Send(signal == SIGHUP ? onHangUp : Wish::End);
        }
    });
}

Signals::~Signals() {
    kill(getpid(), SIGTERM);  // ends the thread if no signal has come
    m_state->waiting.join();
}

}  // namespace Service
