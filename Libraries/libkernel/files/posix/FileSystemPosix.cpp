#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/Utf.h"

#include "files/RandomName.h"

#include <chrono>
#include <filesystem>
#include <limits>
#include <system_error>

namespace Kernel::FileSystem {

namespace {

// Longer than any download or other write takes.
constexpr std::chrono::hours AbandonedAge{48};
// Files and folders that one search looks at: it may have been given any folder.
constexpr int MaximumSweep = 100'000;

std::filesystem::path ToPath(const String& path) {
    if (HasZeroByte(path)) {
        throw IoException("use", path, std::make_error_code(std::errc::invalid_argument));
    }
    return std::filesystem::path(reinterpret_cast<const char8_t*>(path.begin()),
                                 reinterpret_cast<const char8_t*>(path.end()));
}

String FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

/// The result of `operation`; false if it throws, as ToPath() may.
template <class Operation>
bool Try(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::exception&) {
        return false;
    }
}

/// What stands at `path`, links followed. Throws IoException if nothing does.
std::filesystem::file_status GetStatus(const char* action, const String& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(ToPath(path), error);
    if (error) {
        throw IoException(action, path, error);
    }
    return status;
}

/// What stands at `path`, links followed. That nothing does is no error.
Status::Kind GetKind(const std::filesystem::path& path, std::error_code& error) {
    switch (std::filesystem::status(path, error).type()) {
        case std::filesystem::file_type::not_found:
            error.clear();
            return Status::Kind::None;
        case std::filesystem::file_type::none:
            return Status::Kind::None;
        case std::filesystem::file_type::regular:
            return Status::Kind::File;
        case std::filesystem::file_type::directory:
            return Status::Kind::Folder;
        default:
            return Status::Kind::Other;
    }
}

void DeleteIfAbandoned(const std::filesystem::directory_entry& entry,
                       std::filesystem::file_time_type latest) {
    std::error_code error;
    if (IsRandomName(FromPath(entry.path().filename())) && entry.is_regular_file(error) &&
        !entry.is_symlink(error) && entry.last_write_time(error) <= latest && !error) {
        std::filesystem::remove(entry.path(), error);
    }
}

}  // namespace

bool Exists(const String& path) noexcept {
    return Try([&] {
        std::error_code error;
        return std::filesystem::exists(ToPath(path), error);
    });
}

Status Examine(const String& path) noexcept {
    Status status;
    try {
        const std::filesystem::path place = ToPath(path);
        status.kind = GetKind(place, status.error);
        if (status.kind == Status::Kind::File) {
            const std::uintmax_t size = std::filesystem::file_size(place, status.error);
            status.size = status.error ? 0 : size;
        }
        std::error_code unknown;
        const auto modified = std::filesystem::last_write_time(place, unknown);
        status.modified = unknown ? std::filesystem::file_time_type() : modified;
    } catch (const IoException& exception) {
        status.error = exception.GetCode();
    } catch (const std::exception&) {
        status.error = std::make_error_code(std::errc::not_enough_memory);
    }
    if (status.error == std::errc::no_such_file_or_directory) {  // it went meanwhile
        return {};
    }
    return status.error ? Status{.error = status.error} : status;
}

void RefuseOtherThanFile(const String& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(ToPath(path), error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw IoException::ForOtherThanFile(path);
    }
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

bool DeleteEmptyFolder(const String& path) noexcept {
    return Try([&] {
        std::error_code error;
        const std::filesystem::path folder = ToPath(path);
        return std::filesystem::is_directory(std::filesystem::symlink_status(folder, error)) &&
               std::filesystem::remove(folder, error);
    });
}

std::vector<String> GetNames(const String& folder) {
    std::vector<String> names;
    std::error_code error;
    using Iterator = std::filesystem::directory_iterator;
    for (Iterator file(ToPath(folder), error); !error && file != Iterator();
         file.increment(error)) {
        names.push_back(FromPath(file->path().filename()));
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        throw IoException("read", folder, error);
    }
    return names;
}

String GetAbsolutePath(const String& path) {
    try {
        return FromPath(std::filesystem::absolute(ToPath(path)));
    } catch (const std::filesystem::filesystem_error& error) {
        throw IoException("find", path, error.code());
    }
}

String GetCanonicalPath(const String& path) {
    try {
        return FromPath(std::filesystem::weakly_canonical(std::filesystem::absolute(ToPath(path))));
    } catch (const std::filesystem::filesystem_error& error) {
        throw IoException("find", path, error.code());
    }
}

String FollowLinks(const String& path) {
    constexpr int MaximumLinks = 40;  // as Linux has it
    std::filesystem::path place = ToPath(path);
    std::error_code error;
    for (int i = 0; i < MaximumLinks; ++i) {
        const std::filesystem::path next = std::filesystem::read_symlink(place, error);
        if (error) {
            return i == 0 ? path : FromPath(place);
        }
        place = place.parent_path() / next;
    }
    throw IoException("find", path, std::make_error_code(std::errc::too_many_symbolic_link_levels));
}

std::uint64_t GetFreeBytes(const String& folder) noexcept {
    std::uint64_t available = std::numeric_limits<std::uint64_t>::max();
    Try([&] {
        available = std::filesystem::space(ToPath(folder)).available;
        return true;
    });
    return available;
}

String GetTemporaryFolder() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error) {
        throw IoException("use", "the folder for temporary files", error);
    }
    return FromPath(folder);
}

void RestrictToOwner(const String& path) {
    using std::filesystem::perms;
    constexpr const char* Action = "keep others out of";
    const bool isFolder = std::filesystem::is_directory(GetStatus(Action, path));
    std::error_code error;
    std::filesystem::permissions(
        ToPath(path), isFolder ? perms::owner_all : perms::owner_read | perms::owner_write, error);
    if (error) {
        throw IoException(Action, path, error);
    }
}

bool IsOwnersAlone(const String& path) {
    // The rights of an access control list are never more than those of the group.
    using std::filesystem::perms;
    const perms rights = GetStatus("find the permissions of", path).permissions();
    return (rights & (perms::group_all | perms::others_all)) == perms::none;
}

void DeleteAbandonedFiles(const String& folder, int depth) noexcept {
    Try([&] {
        using Iterator = std::filesystem::recursive_directory_iterator;  // it follows no links
        const auto latest = std::filesystem::file_time_type::clock::now() - AbandonedAge;
        std::error_code error;
        Iterator place(ToPath(folder), std::filesystem::directory_options::skip_permission_denied);
        for (int i = 0; i < MaximumSweep && place != Iterator(); ++i) {
            if (place.depth() >= depth) {
                place.disable_recursion_pending();
            }
            DeleteIfAbandoned(*place, latest);
            place.increment(error);
        }
        return true;
    });
}

}  // namespace Kernel::FileSystem
