#include "Learning/ThreadingPolicy.h"

#include <atomic>

namespace Learning {

namespace {

constinit std::atomic<ThreadingPolicy> threadingOfProcess{ThreadingPolicy{}};
static_assert(std::atomic<ThreadingPolicy>::is_always_lock_free);

}  // namespace

void SetThreadingPolicy(const ThreadingPolicy& policy) noexcept {
    threadingOfProcess = policy;
}

ThreadingPolicy GetThreadingPolicy() noexcept {
    return threadingOfProcess;
}

}  // namespace Learning
