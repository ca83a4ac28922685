// Work that is done on several threads at the same time.

#pragma once

#include <thread>
#include <vector>

namespace Support {

/// Calls `job(0)` to `job(count - 1)`, each on a thread of its own, and waits for all.
template <class Job>
void RunOnThreads(int count, const Job& job) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&job, i] { job(i); });
    }
}

}  // namespace Support
