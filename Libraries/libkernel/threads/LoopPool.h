// The threads behind Dispatch::RunLoop().

#pragma once

#include "Kernel/Dispatch.h"

#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace Kernel {

/// One loop in progress, on the stack of the thread that asked for it. LoopPool's lock guards it.
struct Loop {
    Dispatch::IndexedJob job;
    void* context;
    std::size_t count;
    std::size_t grain;
    Dispatch::Priority priority;
    Dispatch::ThreadPurpose purpose;
    std::size_t next = 0;          // the first job that nobody has taken
    int workers = 0;               // threads of the pool that are in it
    std::exception_ptr failure{};  // the first one
};

/// As many threads as the machine has cores beside the one that calls.
///
/// A loop's caller works on its own loop until there is nothing left to take, then waits for the
/// threads of the pool that are still in it. So a loop always ends, with any number of threads, and
/// loops may be started from within jobs.
class LoopPool {
public:
    /// Starts `threadCount` threads, or as many of them as the system allows.
    explicit LoopPool(std::size_t threadCount);
    LoopPool(const LoopPool&) = delete;
    LoopPool& operator=(const LoopPool&) = delete;
    ~LoopPool();

    std::size_t GetThreadCount() const noexcept { return m_threads.size(); }

    /// Runs all jobs of `loop`, and throws its failure if there is one.
    void Run(Loop& loop);

private:
    void RunThread();
    void TakeTurn(Loop& loop, std::unique_lock<std::mutex>& lock);
    Loop* FindLoop() noexcept;

    std::mutex m_mutex;
    std::condition_variable m_loopAdded;  // or the pool is ending
    std::condition_variable m_loopLeft;
    std::list<Loop*> m_loops;  // those with jobs to take may be among them
    bool m_isEnding = false;
    std::vector<std::thread> m_threads;
};

}  // namespace Kernel
