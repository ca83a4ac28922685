#include "service/ProgramFolder.h"

#include <filesystem>
#include <system_error>

namespace LearningApp {

std::string GetProgramFolder() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "." : program.parent_path().string();
}

}  // namespace LearningApp
