// How runs share the processors with the rest of the process.

#pragma once

#include "Learning/Export.h"

namespace Learning {

struct ThreadingPolicy {
    /// How many threads work on a run, the calling one included; 0 leaves it to the runtime, which
    /// takes one for each core.
    int threads = 0;
    /// How many runs of one session work at the same time; those of further threads wait. Each
    /// needs memory of its own for intermediate results. 0 for any number.
    ///
    /// Many threads that run one model get the most out of the processors, for little memory, with
    /// one thread for each run and as many runs as there are cores.
    int concurrentRuns = 0;
    /// Whether the threads of a session wait for its next run by spinning for a while: that starts
    /// the next run some microseconds earlier, and costs a core for some ten milliseconds after
    /// each run.
    bool spinsBetweenRuns = true;
};

/// The policy of sessions that are opened from now on; what is open stays as it is. As the runtime
/// has it by default, at first.
///
/// Threads: any.
LEARNING_API void SetThreadingPolicy(const ThreadingPolicy& policy) noexcept;
LEARNING_API ThreadingPolicy GetThreadingPolicy() noexcept;

}  // namespace Learning
