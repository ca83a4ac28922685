// The program `learning-service`: RunService() until Ctrl-C or SIGTERM.

#include "Kernel/Semaphore.h"

#include "CommandLine.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <thread>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // in all threads, which inherit it

    Kernel::Semaphore end;
    std::thread waiting([&] {
        int signal = 0;
        sigwait(&signals, &signal);
        end.Signal();
    });
    const int code = Service::RunService(arguments, std::cout, std::cerr, end);
    kill(getpid(), SIGTERM);  // lets the thread go if the service ended by itself
    waiting.join();
    return code;
}
