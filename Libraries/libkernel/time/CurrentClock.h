// Which clock the process uses.

#pragma once

#include "Kernel/Clock.h"

namespace Kernel {

/// The clock to ask: the system's, unless a test has put its own in its place.
Clock& GetClock() noexcept;

/// Makes `clock` the one that GetClock() returns, and returns the one that was.
Clock& ExchangeClock(Clock& clock) noexcept;

}  // namespace Kernel
