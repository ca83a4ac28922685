// The clock behind timers, sleeps and timed waits.

#pragma once

#include "Kernel/Export.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Kernel {

/// What timers, sleeps and timed waits ask for the time.
class KERNEL_API Clock {
public:
    virtual ~Clock();

    /// Time since some fixed moment; never goes back.
    virtual std::chrono::nanoseconds GetNow() = 0;
    virtual void Sleep(std::chrono::nanoseconds duration) = 0;
    /// Waits on `condition` for at most `timeout`. May return early for no reason.
    virtual void WaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         std::chrono::nanoseconds timeout) = 0;
};

}  // namespace Kernel
