// Programs that a test starts, and what becomes of them.

#pragma once

#include <cstdint>
#include <string>

namespace Support {

struct ChildResult {
    std::uint32_t exitCode = 0;  // whole: what a shell shows may be the lowest byte
    std::string output;          // of both standard streams, with '\n' at the ends of lines
};

/// Runs the program at `path` with the words in `arguments` for a minute at most, in its own
/// folder and this process's environment. Throws std::runtime_error if it can't be started or takes
/// longer.
ChildResult RunChild(const std::string& path, const std::string& arguments = "");

}  // namespace Support
