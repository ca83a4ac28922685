// Work that is done on several threads at the same time.

#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace Support {

/// Where `count` threads wait for each other, again and again. In place of std::barrier, whose
/// waits may never end with GCC 12 on Windows.
class Barrier {
public:
    explicit Barrier(int count) : m_count(count) {}

    void ArriveAndWait() {
        std::unique_lock lock(m_mutex);
        const int round = m_round;
        if (++m_arrived == m_count) {
            m_arrived = 0;
            ++m_round;
            m_changed.notify_all();
        } else {
            m_changed.wait(lock, [&] { return m_round != round; });
        }
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    const int m_count;
    int m_arrived = 0;
    int m_round = 0;
};

/// Calls `job(0)` to `job(count - 1)`, each on a thread of its own, and waits for all.
template <class Job>
void RunOnThreads(int count, const Job& job) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&job, i] { job(i); });
    }
}

}  // namespace Support
