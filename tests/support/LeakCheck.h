// Files and threads that a test leaves behind.

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <thread>

namespace Support {

/// The open files and threads of this process, as the system counts them.
std::ptrdiff_t CountOpenThings();

/// Expects at its end that this process has no more open files and threads than at its start.
class LeakCheck {
public:
    LeakCheck() = default;
    LeakCheck(const LeakCheck&) = delete;
    LeakCheck& operator=(const LeakCheck&) = delete;
    ~LeakCheck() {
        // Threads that have been joined may be listed for a moment.
        for (int wait = 0; wait < 500 && CountOpenThings() > m_before; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_LE(CountOpenThings(), m_before);
    }

private:
    const std::ptrdiff_t m_before = CountOpenThings();
};

}  // namespace Support
