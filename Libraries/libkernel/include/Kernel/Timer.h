// Measuring elapsed time.

#pragma once

#include "Kernel/Export.h"

#include <chrono>

namespace Kernel {

/// A stopwatch that runs from its construction, on a clock that never goes back.
class KERNEL_API Timer {
public:
    Timer();

    double GetElapsedMilliseconds() const;

private:
    std::chrono::nanoseconds m_start;
};

}  // namespace Kernel
