// The clock of the process.

#pragma once

#include "Kernel/Clock.h"

namespace Kernel {

/// The clock in use: the system's, unless a test has replaced it.
Clock& GetClock() noexcept;

/// Replaces the clock that GetClock() returns, and returns the previous one.
Clock& ExchangeClock(Clock& clock) noexcept;

}  // namespace Kernel
