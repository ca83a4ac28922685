// The time of day where the program runs.

#pragma once

#include <chrono>
#include <string>

namespace Service {

/// Hours, minutes and seconds, for example "23:05:59".
std::string FormatLocalTime(std::chrono::system_clock::time_point time);

}  // namespace Service
