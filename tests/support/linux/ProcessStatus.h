// Memory and processor time of this process, as the system tells them.

#pragma once

#include <cstdint>
#include <ctime>
#include <fstream>
#include <string>

namespace Support {

/// A figure of /proc/self/status, which are in KiB, in bytes. For example "VmRSS:".
inline std::int64_t GetMemoryStatus(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    std::int64_t size = 0;
    while (status >> word && word != name) {
    }
    status >> size;
    return size * 1024;
}

/// What the process has for itself alone, in bytes, without what it shares with files such as the
/// code of libraries.
inline std::int64_t GetOwnMemory() {
    return GetMemoryStatus("RssAnon:");
}

/// Processor time of all threads, in milliseconds.
inline double GetProcessorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

}  // namespace Support
