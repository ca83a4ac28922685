#include "Kernel/FileSystem.h"

#include "Kernel/Format.h"
#include "Kernel/IoException.h"

#include "files/FileHandle.h"
#include "files/RandomName.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace Kernel::FileSystem {

namespace {

std::filesystem::path ToPath(const String& path) {
    if (std::string_view(path).find('\0') != std::string_view::npos) {
        throw IoException("use", path, EINVAL);  // the system would see another path
    }
    return std::filesystem::path(reinterpret_cast<const char8_t*>(path.begin()),
                                 reinterpret_cast<const char8_t*>(path.end()));
}

String FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

/// What `operation` answers, or false if it throws, as ToPath() does.
template <class Operation>
bool Try(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

bool Exists(const String& path) noexcept {
    return Try([&] {
        std::error_code error;
        return std::filesystem::exists(ToPath(path), error);
    });
}

bool Delete(const String& path) noexcept {
    return Try([&] {
        std::error_code error;
        std::filesystem::remove(ToPath(path), error);
        return !error;
    });
}

bool DeleteAll(const String& path) noexcept {
    return Try([&] {
        std::error_code error;
        std::filesystem::remove_all(ToPath(path), error);
        return !error;
    });
}

bool CreateDirectoryRecursive(const String& path) noexcept {
    return Try([&] {
        std::error_code error;
        std::filesystem::create_directories(ToPath(path), error);
        return std::filesystem::is_directory(ToPath(path), error);
    });
}

String GetUniqueTemporaryFilename(const String& pattern) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error) {
        throw IoException("use", "the folder for temporary files", error.value());
    }
    String path;
    for (int attempt = 0; attempt < 100; ++attempt) {
        path = FromPath(folder / ToPath(Format(pattern, MakeRandomName())));
        if (FileHandle::CreateExclusively(path)) {
            return path;
        }
    }
    throw IoException("create", path, EEXIST);  // a pattern without "%1"
}

}  // namespace Kernel::FileSystem
