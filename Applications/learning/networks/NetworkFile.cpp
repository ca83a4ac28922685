#include "networks/NetworkFile.h"

#include "files/Paths.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <system_error>

namespace LearningApp {

namespace {

using State = NetworkFile::State;

auto ToSystemTime(std::filesystem::file_time_type time) {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::file_clock::to_sys(time));
}

}  // namespace

NetworkFile ExamineFile(const std::string& path) {
    namespace fs = std::filesystem;
    NetworkFile file;
    file.path = path;
    const fs::path place = ToPath(path);
    std::error_code error;
    const fs::file_status status = fs::status(place, error);
    if (!fs::exists(status)) {
        return file;
    }
    if (!fs::is_regular_file(status)) {
        file.state = fs::is_directory(status) ? State::Folder : State::Other;
        return file;
    }
    const std::uintmax_t size = fs::file_size(place, error);
    file.modified = error ? fs::file_time_type{} : fs::last_write_time(place, error);
    if (!error) {  // else it has gone meanwhile
        file.size = size;
        file.state = size > 0 ? State::Installed : State::Empty;
    }
    return file;
}

const char* GetStateName(State state) noexcept {
    switch (state) {
        case State::Installed:
            return "installed";
        case State::Missing:
            return "missing";
        case State::Empty:
            return "empty";
        case State::Folder:
            return "folder";
        case State::Other:
            break;
    }
    return "other";
}

std::string FormatDate(std::filesystem::file_time_type time) {
    const std::string whole = FormatTime(time);
    return whole.substr(0, whole.find('T'));
}

std::string FormatTime(std::filesystem::file_time_type time) {
    const auto whole = ToSystemTime(time);
    const auto midnight = std::chrono::floor<std::chrono::days>(whole);
    const std::chrono::year_month_day day(midnight);
    const std::chrono::hh_mm_ss clock(whole - midnight);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                  static_cast<unsigned>(day.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

}  // namespace LearningApp
