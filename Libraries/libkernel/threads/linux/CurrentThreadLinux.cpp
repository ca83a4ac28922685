#include "threads/CurrentThread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <thread>

namespace Kernel {

namespace {

const char* GetThreadName(Dispatch::ThreadPurpose purpose) noexcept {
    switch (purpose) {
        case Dispatch::ThreadPurpose::Background:
            return "background";
        case Dispatch::ThreadPurpose::Pixels:
            return "pixels";
        case Dispatch::ThreadPurpose::General:
            break;
    }
    return "worker";
}

}  // namespace

void SetUpCurrentThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority) noexcept {
    pthread_setname_np(pthread_self(), GetThreadName(purpose));
    // Linux has a nice value for each thread; who 0 is the calling one. Values below 0 need a
    // privileged process, so High is the same as Normal.
    if (priority == Dispatch::Priority::Idle) {
        setpriority(PRIO_PROCESS, 0, 19);
    } else if (priority == Dispatch::Priority::Low) {
        setpriority(PRIO_PROCESS, 0, 5);
    }
}

unsigned CountProcessors() noexcept {
    cpu_set_t allowed;
    const bool isKnown = sched_getaffinity(0, sizeof(allowed), &allowed) == 0;
    return isKnown ? static_cast<unsigned>(CPU_COUNT(&allowed))
                   : std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace Kernel
