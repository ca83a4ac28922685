#include "time/LocalTime.h"

#include <array>
#include <ctime>

namespace Service {

std::string FormatLocalTime(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 64> buffer;
    std::string text(buffer.data(),
                     std::strftime(buffer.data(), buffer.size(), "%Y-%m-%dT%H:%M:%S%z", &parts));
    return text.insert(text.size() - 2, ":");  // which strftime() leaves out of "+0100"
}

}  // namespace Service
