// A recursive lock and its scope.

#pragma once

#include <mutex>

namespace Kernel {

/// A lock that one thread at a time may hold, and that thread any number of times.
class CriticalSection {
public:
    void Lock() { m_mutex.lock(); }
    void Unlock() noexcept { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

/// Holds a CriticalSection from here to the end of the block, exceptions included.
class ScopedLock {
public:
    explicit ScopedLock(CriticalSection& section) : m_section(section) { m_section.Lock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;
    ~ScopedLock() { m_section.Unlock(); }

private:
    CriticalSection& m_section;
};

}  // namespace Kernel
