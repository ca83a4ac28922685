// Measuring elapsed time.

#pragma once

#include "Kernel/Export.h"

#include <chrono>

namespace Kernel {

/// A stopwatch on a monotonic clock, started by its construction.
class KERNEL_API Timer {
public:
    Timer();

    double GetElapsedMilliseconds() const;

private:
    std::chrono::nanoseconds m_start;
};

}  // namespace Kernel
