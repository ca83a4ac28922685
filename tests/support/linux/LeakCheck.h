// Files and threads that a test leaves behind, as /proc lists them.

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

namespace Support {

/// Expects at its end that this process has no more open files and threads than at its start.
class LeakCheck {
public:
    LeakCheck() = default;
    LeakCheck(const LeakCheck&) = delete;
    LeakCheck& operator=(const LeakCheck&) = delete;
    ~LeakCheck() {
        // Threads that have been joined may be listed for a moment.
        for (int wait = 0; wait < 500 && CountAll() > m_before; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_LE(CountAll(), m_before);
    }

private:
    static std::ptrdiff_t Count(const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }
    static std::ptrdiff_t CountAll() { return Count("/proc/self/fd") + Count("/proc/self/task"); }

    const std::ptrdiff_t m_before = CountAll();
};

}  // namespace Support
