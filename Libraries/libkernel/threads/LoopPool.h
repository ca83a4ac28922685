// The thread pool of Dispatch::RunLoop().

#pragma once

#include "Kernel/Dispatch.h"

#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace Kernel {

/// A running loop, on the stack of the calling thread. Guarded by the lock of LoopPool.
struct Loop {
    Dispatch::IndexedJob job;
    void* context;
    std::size_t count;
    std::size_t grain;
    Dispatch::Priority priority;
    Dispatch::ThreadPurpose purpose;
    std::size_t next = 0;          // the first job that no thread has taken
    int workers = 0;               // threads of the pool that run its jobs
    std::exception_ptr failure{};  // the first one
};

/// A pool of threads that run parallel loops together with the threads that start them.
///
/// The caller of a loop runs jobs of its own loop until none is left, then waits for the threads of
/// the pool that still run some. So loops end with any number of threads and may be nested.
class LoopPool {
public:
    /// With `threadCount` threads, or fewer if the system refuses more.
    explicit LoopPool(std::size_t threadCount) noexcept : m_threadCount(threadCount) {}
    LoopPool(const LoopPool&) = delete;
    LoopPool& operator=(const LoopPool&) = delete;
    ~LoopPool() { EndThreads(); }

    std::size_t GetThreadCount() const noexcept { return m_threadCount; }

    /// Runs all jobs of `loop` and rethrows its failure, if there is one. Starts the threads first
    /// if there are none.
    void Run(Loop& loop);

    /// Returns when the threads have ended the jobs that they run, and themselves.
    void EndThreads();

private:
    void StartThreads();
    void RunThread();
    void TakeTurn(Loop& loop, std::unique_lock<std::mutex>& lock);
    Loop* FindLoop() noexcept;

    const std::size_t m_threadCount;
    std::mutex m_endMutex;                // held by the one that ends the threads, and taken first
    std::mutex m_mutex;                   // of all below
    std::condition_variable m_loopAdded;  // or the threads are to end
    std::condition_variable m_loopLeft;
    std::list<Loop*> m_loops;  // running ones, some without jobs left to take
    bool m_isEnding = false;
    std::vector<std::thread> m_threads;
};

}  // namespace Kernel
