#include "service/LocalTime.h"

#include <array>
#include <ctime>

namespace Service {

std::string FormatLocalTime(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 16> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &parts)};
}

}  // namespace Service
