// How many runs of a session are under way at once.

#pragma once

#include "Kernel/AbortFlag.h"

#include <condition_variable>
#include <mutex>

namespace Learning {

/// Lets a number of threads in at the same time; others wait.
class RunGate {
public:
    /// `limit`: how many threads may be inside; 0 for any number.
    explicit RunGate(int limit) noexcept : m_limit(limit) {}
    RunGate(const RunGate&) = delete;
    RunGate& operator=(const RunGate&) = delete;

    /// The right to be inside, for as long as it lives.
    class Pass {
    public:
        /// Waits until there is room, or until `abort`, which may be null, is set.
        Pass(RunGate& gate, Kernel::AbortFlag abort);
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        ~Pass();

        /// Whether there was room before the flag was set.
        bool IsIn() const noexcept { return m_isIn; }

    private:
        RunGate& m_gate;
        bool m_isIn = true;
    };

private:
    const int m_limit;
    std::mutex m_mutex;
    std::condition_variable m_roomMade;
    int m_inside = 0;
};

}  // namespace Learning
