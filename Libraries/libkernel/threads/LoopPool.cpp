#include "threads/LoopPool.h"

#include "threads/CurrentThread.h"
#include "threads/ThreadStart.h"

#include <algorithm>
#include <system_error>

namespace Kernel {

/// With the lock held.
void LoopPool::StartThreads() {
    m_threads.reserve(m_threadCount);
    try {
        while (m_threads.size() < m_threadCount) {
            m_threads.push_back(StartThread(Dispatch::ThreadPurpose::General,
                                            Dispatch::Priority::Normal, [this] { RunThread(); }));
        }
    } catch (const std::system_error&) {
        // Loops end with fewer threads, too, only later.
    }
}

void LoopPool::EndThreads() {
    const std::lock_guard endLock(m_endMutex);
    std::vector<std::thread> threads;
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        threads.swap(m_threads);
    }
    m_loopAdded.notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::lock_guard lock(m_mutex);
    m_isEnding = false;
}

void LoopPool::Run(Loop& loop) {
    std::unique_lock lock(m_mutex);
    if (m_threads.empty() && !m_isEnding) {
        StartThreads();
    }
    const auto place = m_loops.insert(m_loops.end(), &loop);
    m_loopAdded.notify_all();
    while (loop.next < loop.count) {
        TakeTurn(loop, lock);
    }
    m_loops.erase(place);  // no thread starts on it after this
    m_loopLeft.wait(lock, [&loop] { return loop.workers == 0; });
    if (loop.failure) {
        std::rethrow_exception(loop.failure);
    }
}

void LoopPool::RunThread() {
    auto purpose = Dispatch::ThreadPurpose::General;
    std::unique_lock lock(m_mutex);
    while (!m_isEnding) {
        Loop* const loop = FindLoop();  // each time: one of higher priority may be new
        if (loop == nullptr) {
            m_loopAdded.wait(lock);
            continue;
        }
        ++loop->workers;
        if (loop->purpose != purpose) {
            purpose = loop->purpose;
            SetUpCurrentThread(purpose, Dispatch::Priority::Normal);
        }
        TakeTurn(*loop, lock);
        if (--loop->workers == 0) {
            m_loopLeft.notify_all();
        }
    }
}

/// Takes the next jobs of `loop`, which has some left, and runs them. `lock` is held at the call
/// and at the return, but not in between.
void LoopPool::TakeTurn(Loop& loop, std::unique_lock<std::mutex>& lock) {
    const std::size_t begin = loop.next;
    const std::size_t end = std::min(loop.count, begin + loop.grain);
    loop.next = end;
    lock.unlock();
    std::exception_ptr failure;
    try {
        for (std::size_t i = begin; i < end; ++i) {
            loop.job(loop.context, i);
        }
    } catch (...) {
        failure = std::current_exception();
    }
    lock.lock();
    if (failure) {
        loop.next = loop.count;
        if (!loop.failure) {
            loop.failure = std::move(failure);
        }
    }
}

/// The loop of the highest priority that has jobs left, the oldest among equals; null if none has.
Loop* LoopPool::FindLoop() noexcept {
    Loop* best = nullptr;
    for (Loop* const loop : m_loops) {
        if (loop->next < loop->count && (best == nullptr || loop->priority > best->priority)) {
            best = loop;
        }
    }
    return best;
}

}  // namespace Kernel
