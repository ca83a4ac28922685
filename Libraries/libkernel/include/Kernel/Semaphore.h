// A counting semaphore.

#pragma once

#include "Kernel/Export.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace Kernel {

/// A count that Signal() raises and Wait() lowers, waiting while it is 0.
///
/// Threads: any, at the same time. The one that Wait() let go may destroy the semaphore at once,
/// even while the Signal() that did so is still returning.
class KERNEL_API Semaphore {
public:
    explicit Semaphore(std::size_t count = 0) noexcept : m_count(count) {}

    void Signal();
    void Wait();

    /// Waits for at most `timeout`; false, with the count unchanged, if it passed.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds timeout);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_count;
};

}  // namespace Kernel
