// What a caller may ask of a run besides its results.

#pragma once

#include "Kernel/AbortFlag.h"

namespace Learning {

struct RunOptions {
    /// Ends the run within some 20 ms once it is set, or when the runtime has finished the node
    /// that it is working on: that may take longer for a large one. May be null.
    Kernel::AbortFlag abort = nullptr;
    /// Whether the memory that the run needed for intermediate results is given back after it. The
    /// session keeps it otherwise: up to hundreds of megabytes, which the next run of the same size
    /// need not ask for again.
    bool releasesMemory = false;
    /// Whether the runtime writes of failures to the standard error stream by itself, with the
    /// names of its own nodes and sources. The result and the log tell of them in any case.
    bool writesToStandardError = true;
};

enum class RunResult {
    Done = 0,
    Failed = 1,     // the contents of the outputs are undefined; the log has the reason
    Cancelled = 2,  // the same, but for the log
};

}  // namespace Learning
