// What stands where the file of a network is sought.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace LearningApp {

struct NetworkFile {
    enum class State : std::uint8_t {
        Installed,  // a file with something in it; whether that is a network shows when it is
                    // opened
        Missing,
        Empty,
        Folder,
        Other,  // such as a pipe
    };

    std::string path;
    State state = State::Missing;
    // Of an installed one.
    std::uint64_t size = 0;  // bytes
    std::filesystem::file_time_type modified{};
};

NetworkFile ExamineFile(const std::string& path);

/// "installed", "missing", "empty", "folder" or "other".
const char* GetStateName(NetworkFile::State state) noexcept;

// In Coordinated Universal Time, in the forms of ISO 8601.

/// "2026-11-22"
std::string FormatDate(std::filesystem::file_time_type time);
/// "2026-11-22T09:40:00Z"
std::string FormatTime(std::filesystem::file_time_type time);

}  // namespace LearningApp
