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
    /// Starts `threadCount` threads, or fewer if the system refuses more.
    explicit LoopPool(std::size_t threadCount);
    LoopPool(const LoopPool&) = delete;
    LoopPool& operator=(const LoopPool&) = delete;
    ~LoopPool();

    std::size_t GetThreadCount() const noexcept { return m_threads.size(); }

    /// Runs all jobs of `loop` and rethrows its failure, if there is one.
    void Run(Loop& loop);

private:
    void RunThread();
    void TakeTurn(Loop& loop, std::unique_lock<std::mutex>& lock);
    Loop* FindLoop() noexcept;

    std::mutex m_mutex;
    std::condition_variable m_loopAdded;  // or the pool is being destroyed
    std::condition_variable m_loopLeft;
    std::list<Loop*> m_loops;  // running ones, some without jobs left to take
    bool m_isEnding = false;
    std::vector<std::thread> m_threads;
};

}  // namespace Kernel
