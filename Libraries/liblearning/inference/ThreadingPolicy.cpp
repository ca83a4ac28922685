#include "Learning/ThreadingPolicy.h"

#include <atomic>

namespace Learning {

namespace {

constinit std::atomic<ThreadingPolicy> processPolicy{ThreadingPolicy{}};
static_assert(std::atomic<ThreadingPolicy>::is_always_lock_free);

}  // namespace

void SetThreadingPolicy(const ThreadingPolicy& policy) noexcept {
    processPolicy = policy;
}

ThreadingPolicy GetThreadingPolicy() noexcept {
    return processPolicy;
}

}  // namespace Learning
