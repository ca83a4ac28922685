#include "files/FolderPart.h"

namespace Kernel {

std::string_view GetFolderPart(std::string_view path) noexcept {
    return path.substr(0, path.find_last_of('/') + 1);
}

}  // namespace Kernel
