// What running a model takes.

#pragma once

#include <chrono>
#include <cstdint>

namespace Learning {

struct RunCost {
    /// How long the last run that succeeded took, by the clock; 0 before the first.
    std::chrono::nanoseconds lastRun{};
    /// The most bytes that the session's runs have needed at one time for intermediate results, and
    /// for outputs that nobody supplied: neither the weights nor the tensors of the caller. 0 if
    /// the runtime does not know.
    std::uint64_t peakMemory = 0;
};

}  // namespace Learning
