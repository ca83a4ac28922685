#include "files/Paths.h"

#include "Kernel/NativePath.h"

#include <string_view>

namespace LearningApp {

std::filesystem::path ToPath(const std::string& path) {
    return Kernel::ToNativePath(path);
}

std::string FromPath(const std::filesystem::path& path) {
    // The marks of Windows' form of paths that has no limit, on which others would stumble.
    constexpr std::string_view Mark = "//?/";
    constexpr std::string_view NetworkMark = "//?/UNC/";
    const std::u8string native = path.generic_u8string();
    std::string text(native.begin(), native.end());
    if (std::filesystem::path::preferred_separator == '/') {
        return text;
    }
    if (text.starts_with(NetworkMark)) {
        return text.replace(0, NetworkMark.size(), "//");
    }
    return text.erase(0, text.starts_with(Mark) ? Mark.size() : 0);
}

}  // namespace LearningApp
