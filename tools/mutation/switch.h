// The switch behind which tools/mutate compiles mutations; included before everything else.

#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace Mutation {

/// The number of the mutation that is to happen; 0 for none, -1 to note which ones are reached.
inline const int Chosen = [] {
    const char* const number = std::getenv("ORVANTIS_MUTANT");
    return number != nullptr ? std::atoi(number) : 0;
}();

// Opened early: tests count the open files.
inline const int Notes = Chosen < 0 ? open(std::getenv("ORVANTIS_MUTANT_NOTES"),
                                           O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666)
                                    : -1;

[[gnu::noinline, gnu::cold]] inline bool Note(int number) noexcept {
    static bool isNoted[1 << 16];
    if (!__atomic_exchange_n(&isNoted[number], true, __ATOMIC_RELAXED)) {
        const int error = errno;
        char line[16];
        const int size = std::snprintf(line, sizeof line, "%d\n", number);
        [[maybe_unused]] const auto written = write(Notes, line, static_cast<std::size_t>(size));
        errno = error;
    }
    return false;
}

// Always in line, so that code for any instruction set may use it.
[[gnu::always_inline]] inline bool Is(int number) noexcept {
    return Chosen == number || (Chosen < 0 && Note(number));
}

/// A lock that may be left out.
template <class Mutex>
class Guard {
public:
    Guard(Mutex& mutex, bool isLeftOut) : m_mutex(isLeftOut ? nullptr : &mutex) {
        if (m_mutex != nullptr) {
            m_mutex->lock();
        }
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard() {
        if (m_mutex != nullptr) {
            m_mutex->unlock();
        }
    }

private:
    Mutex* m_mutex;
};

}  // namespace Mutation
