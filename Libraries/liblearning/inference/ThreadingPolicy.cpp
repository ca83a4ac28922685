#include "Learning/ThreadingPolicy.h"

#include <mutex>

namespace Learning {

namespace {

constinit std::mutex mutex;
constinit ThreadingPolicy threadingOfProcess;

}  // namespace

void SetThreadingPolicy(const ThreadingPolicy& policy) noexcept {
    const std::lock_guard lock(mutex);
    threadingOfProcess = policy;
}

ThreadingPolicy GetThreadingPolicy() noexcept {
    const std::lock_guard lock(mutex);
    return threadingOfProcess;
}

}  // namespace Learning
