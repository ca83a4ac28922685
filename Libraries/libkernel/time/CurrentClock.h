// The clock of the process.

#pragma once

#include "Kernel/Clock.h"

#include <chrono>

namespace Kernel {

/// The clock in use: the system's, unless a test has replaced it.
Clock& GetClock() noexcept;

/// `duration` within the limits from zero to a century, in which sums of times do not overflow.
std::chrono::nanoseconds ToClockTime(std::chrono::milliseconds duration) noexcept;

/// Replaces the clock that GetClock() returns, and returns the previous one.
Clock& ExchangeClock(Clock& clock) noexcept;

}  // namespace Kernel
