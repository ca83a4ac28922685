// The clock behind timers, sleeps and timed waits.

#pragma once

#include "Kernel/Testing.h"

namespace Kernel {

/// The clock to ask: the system's, unless a test has put its own in its place.
Testing::Clock& GetClock() noexcept;

/// Makes `clock` the one that GetClock() returns, and returns the one that was.
Testing::Clock& ExchangeClock(Testing::Clock& clock) noexcept;

}  // namespace Kernel
