// The time of day where the program runs.

#pragma once

#include <chrono>
#include <string>

namespace Service {

/// Date and time with their distance from UTC, as ISO 8601 has them: "2030-12-31T23:05:59+01:00".
std::string FormatLocalTime(std::chrono::system_clock::time_point time);

}  // namespace Service
