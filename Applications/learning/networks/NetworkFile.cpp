#include "networks/NetworkFile.h"

#include "Kernel/FileSystem.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace LearningApp {

namespace {

using State = NetworkFile::State;

auto ToSystemTime(std::filesystem::file_time_type time) {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::file_clock::to_sys(time));
}

State GetState(const Kernel::FileSystem::Status& found) noexcept {
    using enum Kernel::FileSystem::Status::Kind;
    switch (found.kind) {
        case None:
            return State::Missing;
        case File:
            return found.size > 0 ? State::Installed : State::Empty;
        case Folder:
            return State::Folder;
        case Other:
            break;
    }
    return State::Other;
}

}  // namespace

NetworkFile ExamineFile(const std::string& path) {
    const Kernel::FileSystem::Status found = Kernel::FileSystem::Examine(path);
    return {path, GetState(found), found.size, found.modified};
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
