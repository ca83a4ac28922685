// The clock behind timers, sleeps and timed waits.

#pragma once

#include "Kernel/Export.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace Kernel {

/// The source of time for timers, sleeps and timed waits.
class KERNEL_API Clock {
public:
    virtual ~Clock();

    /// Monotonic time since an unspecified start.
    virtual std::chrono::nanoseconds GetNow() = 0;
    virtual void Sleep(std::chrono::nanoseconds duration) = 0;
    /// Waits on `condition` until `isDone()`, for at most `timeout`, and returns `isDone()`, which
    /// is called with the lock held.
    virtual bool WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         std::chrono::nanoseconds timeout, const std::function<bool()>& isDone) = 0;
};

}  // namespace Kernel
