// A counting semaphore.

#pragma once

#include "Kernel/Export.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace Kernel {

/// A count that Signal() increments and Wait() decrements, blocking while it is 0.
///
/// Threads: any. A thread whose Wait() has returned may destroy the semaphore, even while the
/// Signal() that released it has not returned yet.
class KERNEL_API Semaphore {
public:
    explicit Semaphore(std::size_t count = 0) noexcept : m_count(count) {}

    void Signal();
    void Wait();

    /// Waits for at most `timeout`; false, with the count unchanged, on a timeout.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds timeout);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_count;
};

}  // namespace Kernel
