// Memory that runs out.

#pragma once

namespace Learning {

/// How many more allocations of the thread succeed before one fails; negative: all do.
extern thread_local int allocationsLeft;

}  // namespace Learning
