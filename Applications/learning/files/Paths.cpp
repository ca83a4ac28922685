#include "files/Paths.h"

#include "Kernel/FileSystem.h"
#include "Kernel/NativePath.h"

#include <string_view>

namespace LearningApp {

std::filesystem::path ToPath(const std::string& path) {
    return Kernel::ToNativePath(path);
}

std::string FromPath(const std::filesystem::path& path) {
    return std::string(std::string_view(Kernel::FromNativePath(path.native())));
}

bool IsFolder(const std::string& path) {
    return Kernel::FileSystem::Examine(path).kind == Kernel::FileSystem::Status::Kind::Folder;
}

}  // namespace LearningApp
