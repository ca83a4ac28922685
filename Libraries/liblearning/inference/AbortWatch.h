// Flags that are looked at while the runtime works.

#pragma once

#include "Kernel/AbortFlag.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace Learning {

/// Looks at a flag for as long as this object lives, on a thread of its own, and calls a function
/// once when the flag is set. The runtime does not look at flags of others: it has to be told.
class AbortWatch {
public:
    /// With no flag there is nothing to look at, and no thread. Throws std::system_error if there
    /// is no thread.
    AbortWatch(Kernel::AbortFlag abort, std::function<void()> onAbort);
    AbortWatch(const AbortWatch&) = delete;
    AbortWatch& operator=(const AbortWatch&) = delete;
    /// When it returns, the function is not running any more.
    ~AbortWatch();

private:
    void Watch();

    const Kernel::AbortFlag m_abort;
    const std::function<void()> m_onAbort;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_isEnding = false;
    std::thread m_thread;
};

}  // namespace Learning
