#include "terminal/Quantities.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace LearningApp {

namespace {

template <class... Values>
std::string PrintValues(const char* format, Values... values) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

}  // namespace

std::string FormatSize(double bytes) {
    constexpr std::array<const char*, 5> Units{"B", "kB", "MB", "GB", "TB"};
    std::size_t unit = 0;
    while (bytes >= 999.5 && unit + 1 < Units.size()) {
        bytes /= 1000;
        ++unit;
    }
    const int decimals = unit == 0 || bytes >= 99.95 ? 0 : bytes >= 9.995 ? 1 : 2;
    return PrintValues("%.*f %s", decimals, bytes, Units[unit]);
}

std::string FormatDuration(double seconds) {
    const long whole = std::lround(seconds);
    return whole < 3600 ? PrintValues("%ld:%02ld", whole / 60, whole % 60)
                        : PrintValues("%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace LearningApp
