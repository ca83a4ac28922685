#include "Learning/ThreadingPolicy.h"

#include "Kernel/NeverDestroyed.h"

#include <mutex>

namespace Learning {

namespace {

struct ThreadingOfProcess {
    std::mutex mutex;
    ThreadingPolicy policy;
};

/// Also while other statics are made and destroyed, which may open models.
ThreadingOfProcess& GetThreadingOfProcess() noexcept {
    static Kernel::NeverDestroyed<ThreadingOfProcess> threading;
    return *threading;
}

}  // namespace

void SetThreadingPolicy(const ThreadingPolicy& policy) noexcept {
    ThreadingOfProcess& threading = GetThreadingOfProcess();
    const std::lock_guard lock(threading.mutex);
    threading.policy = policy;
}

ThreadingPolicy GetThreadingPolicy() noexcept {
    ThreadingOfProcess& threading = GetThreadingOfProcess();
    const std::lock_guard lock(threading.mutex);
    return threading.policy;
}

}  // namespace Learning
