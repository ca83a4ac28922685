// What a user, the system or the service itself wants of the running program.

#pragma once

#include "Kernel/Semaphore.h"

#include <deque>
#include <mutex>

namespace Service {

enum class Wish {
    End,
    ReopenLog,  // if there is a file of it
    HangUp,     // the terminal is gone: ReopenLog if there is a file, else End
};

/// Passes wishes on in their order. Threads: any.
class Wishes {
public:
    void Send(Wish wish) {
        {
            const std::lock_guard lock(m_mutex);
            m_wishes.push_back(wish);
        }
        m_count.Signal();
    }

    /// Waits for the next one.
    Wish Wait() {
        m_count.Wait();
        const std::lock_guard lock(m_mutex);
        const Wish wish = m_wishes.front();
        m_wishes.pop_front();
        return wish;
    }

private:
    std::mutex m_mutex;
    std::deque<Wish> m_wishes;
    Kernel::Semaphore m_count;
};

}  // namespace Service
