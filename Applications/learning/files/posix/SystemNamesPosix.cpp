#include "files/Paths.h"
#include "files/SystemNames.h"

#include <filesystem>
#include <system_error>

namespace LearningApp {

bool IsDevice(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(ToPath(path), error);
    return std::filesystem::is_fifo(status) || std::filesystem::is_character_file(status);
}

std::string FindNameFault(const std::string& /*path*/) {
    return {};
}

std::string FoldCase(const std::string& path) {
    return path;
}

}  // namespace LearningApp
