#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

#include "files/RandomName.h"
#include "files/windows/FileSecurity.h"
#include "files/windows/SystemHandle.h"
#include "files/windows/SystemPath.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace Kernel::FileSystem {

namespace {

constexpr std::uint64_t Day = std::uint64_t{24} * 60 * 60 * 10'000'000;  // in units of FILETIME
// Longer than any download or other write takes.
constexpr std::uint64_t AbandonedAge = 2 * Day;
// Files and folders that one search looks at: it may have been given any folder.
constexpr int MaximumSweep = 100'000;

/// The result of `operation`; false if it throws, as ToSystemPath() may.
template <class Operation>
bool Try(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::exception&) {
        return false;
    }
}

/// The result of `operation`; what the system refuses becomes an IoException.
template <class Operation>
auto Translate(const char* action, const String& path, Operation operation) {
    try {
        return operation();
    } catch (const std::system_error& error) {
        throw IoException(action, path, error.code());
    }
}

/// What stands at `path`, links followed, to look at it; null if it can't be opened.
SystemHandle OpenToLook(const std::wstring& path) {
    return OpenHandle(path.c_str(), FILE_READ_ATTRIBUTES, OPEN_EXISTING,
                      FILE_FLAG_BACKUP_SEMANTICS);
}

/// What stands at `path`, links followed, with `access` to its rights. Throws std::system_error if
/// it can't be opened.
SystemHandle OpenForRights(const String& path, DWORD access) {
    SystemHandle handle = OpenHandle(ToSystemPath(path).c_str(), access | FILE_READ_ATTRIBUTES,
                                     OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
    if (!handle) {
        throw std::system_error(ToErrorCode());
    }
    return handle;
}

bool IsFolder(HANDLE handle) noexcept {
    BY_HANDLE_FILE_INFORMATION state{};
    return GetFileInformationByHandle(handle, &state) != 0 &&
           (state.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFolder(const std::wstring& path) {
    const SystemHandle handle = OpenToLook(path);
    return handle && IsFolder(handle.get());
}

/// Deletes a file, an empty folder or a link. Whether nothing is there afterwards.
bool DeleteOne(const std::wstring& path) {
    const PathState state = GetPathState(path);
    if (!state.isThere) {
        return true;
    }
    if (state.isReadOnly) {  // which on other systems keeps nobody from deleting
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    const BOOL isDeleted =
        state.isFolder ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str());
    const DWORD error = isDeleted != 0 ? ERROR_SUCCESS : GetLastError();
    // Somebody else may have been faster.
    return isDeleted != 0 || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

using Visit = std::function<bool(const std::wstring& path, const WIN32_FIND_DATAW& found)>;

/// Calls `visit` for all in `folder` until it returns false, and returns whether it never has.
bool ForEachIn(const std::wstring& folder, const Visit& visit) {
    WIN32_FIND_DATAW found{};
    // Two separators would be a mistake in a path that has no limit.
    const std::wstring place = folder.ends_with(L'\\') ? folder : folder + L'\\';
    const HANDLE search = FindFirstFileW((place + L'*').c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return true;
    }
    const std::unique_ptr<void, decltype(&FindClose)> owner(search, FindClose);
    do {
        const std::wstring_view name = found.cFileName;
        if (name != L"." && name != L".." && !visit(place + found.cFileName, found)) {
            return false;
        }
    } while (FindNextFileW(search, &found) != 0);
    return true;
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the folders
bool DeleteTree(const std::wstring& path) {
    const PathState state = GetPathState(path);
    if (state.isFolder && !state.isLink) {
        ForEachIn(path, [](const std::wstring& below, const WIN32_FIND_DATAW&) {
            DeleteTree(below);
            return true;
        });
    }
    return DeleteOne(path);
}

/// Whether there is a folder at `path`, which may be another thread's or program's by now.
bool MakeFolder(const std::wstring& path) {
    return CreateDirectoryW(path.c_str(), nullptr) != 0 ||
           (GetLastError() == ERROR_ALREADY_EXISTS && IsFolder(path));
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the folders
bool MakeFolders(const std::wstring& path) {
    if (MakeFolder(path)) {
        return true;
    }
    if (GetLastError() == ERROR_PATH_NOT_FOUND) {
        const std::size_t end = path.find_last_not_of(L"/\\");
        const std::size_t separator = path.find_last_of(L"/\\", end);
        return separator != std::wstring::npos && separator > 0 &&
               MakeFolders(path.substr(0, separator)) && MakeFolder(path);
    }
    return false;
}

/// The path of what is open, without links; none where the file system does not tell, as some
/// drivers of disks in memory, or the system has no room for it, as Wine.
std::optional<std::wstring> GetFinalPath(HANDLE handle) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetFinalPathNameByHandleW(
            handle, path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
        if (length == 0) {
            return std::nullopt;
        }
        const bool isWhole = length < path.size();
        path.resize(length);
        if (isWhole) {
            return path;
        }
    }
}

/// A path in the form that has no limit: the longest part of it that exists, without links where
/// that can be had, and the rest as it is.
std::wstring FindFinalPath(std::wstring path) {
    path.resize(path.find_last_not_of(L'\\') + 1);
    std::wstring missing;
    for (;;) {
        const bool isRoot = path.ends_with(L':');
        const std::wstring place = isRoot ? path + L'\\' : path;
        if (const SystemHandle handle = OpenToLook(place)) {
            const std::wstring found = GetFinalPath(handle.get()).value_or(place);
            const bool hasSeparator = found.ends_with(L'\\') && !missing.empty();
            return found + missing.substr(hasSeparator ? 1 : 0);
        }
        const DWORD error = GetLastError();
        const bool isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        if (!isMissing || isRoot || GetPathState(path).isThere) {  // as a link that leads nowhere
            throw std::system_error(ToErrorCode(error));
        }
        const std::size_t separator = path.find_last_of(L'\\');
        missing.insert(0, path.substr(separator));
        path.resize(separator);
    }
}

std::uint64_t ToNumber(const FILETIME& time) noexcept {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::uint64_t GetNow() noexcept {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return ToNumber(now);
}

/// `time`, or as near to it as the clock of files comes, which counts nanoseconds in 64 bits.
std::filesystem::file_time_type ToFileTime(const FILETIME& time) noexcept {
    using Tick = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    constexpr Tick Epoch(116'444'736'000'000'000);  // 1970-01-01, counted from 1601-01-01
    constexpr Tick Latest = Epoch + std::chrono::years(280);
    const Tick passed(
        static_cast<std::int64_t>(std::min<std::uint64_t>(ToNumber(time), Latest.count())));
    return std::chrono::file_clock::from_sys(
        std::chrono::sys_time<Tick>(std::max(passed, Epoch) - Epoch));
}

/// What is open. Throws std::system_error if that can't be determined.
Status ExamineOpen(HANDLE handle) {
    if (GetFileType(handle) != FILE_TYPE_DISK) {
        return {.kind = Status::Kind::Other};
    }
    BY_HANDLE_FILE_INFORMATION state{};
    if (GetFileInformationByHandle(handle, &state) == 0) {
        throw std::system_error(ToErrorCode());
    }
    const std::filesystem::file_time_type modified = ToFileTime(state.ftLastWriteTime);
    if ((state.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return {.kind = Status::Kind::Folder, .modified = modified};
    }
    const std::uint64_t size = std::uint64_t{state.nFileSizeHigh} << 32 | state.nFileSizeLow;
    return {.kind = Status::Kind::File, .size = size, .modified = modified};
}

/// Looks for temporary files below one folder.
class Sweep {
public:
    // NOLINTNEXTLINE(misc-no-recursion): as deep as it is told
    void Search(const std::wstring& folder, int depth) {
        ForEachIn(folder, [&](const std::wstring& path, const WIN32_FIND_DATAW& found) {
            if (--m_left < 0) {
                return false;
            }
            const PathState state = GetPathState(path);
            if (state.isFolder && !state.isLink && depth > 0) {
                Search(path, depth - 1);
            } else if (state.isThere && !state.isFolder && !state.isLink && IsAbandoned(found)) {
                DeleteOne(path);
            }
            return true;
        });
    }

private:
    bool IsAbandoned(const WIN32_FIND_DATAW& found) const {
        return IsRandomName(FromSystemPath(found.cFileName)) &&
               ToNumber(found.ftLastWriteTime) <= m_latest;
    }

    std::uint64_t m_latest = GetNow() - AbandonedAge;
    int m_left = MaximumSweep;
};

}  // namespace

bool Exists(const String& path) noexcept {
    return Try([&] { return OpenToLook(ToSystemPath(path)) != nullptr; });
}

Status Examine(const String& path) noexcept {
    try {
        const std::wstring place = ToSystemPath(path);
        const SystemHandle handle = OpenToLook(place);
        const std::error_code refused = ToErrorCode();
        if (handle) {
            return ExamineOpen(handle.get());
        }
        return GetPathState(place).isThere ? Status{.error = refused} : Status();
    } catch (const std::system_error& error) {
        return {.error = error.code()};
    } catch (const std::exception&) {
        return {.error = std::make_error_code(std::errc::not_enough_memory)};
    }
}

void RefuseOtherThanFile(const String& path) {
    const SystemHandle handle =
        Translate("use", path, [&] { return OpenToLook(ToSystemPath(path)); });
    if (handle && (GetFileType(handle.get()) != FILE_TYPE_DISK || IsFolder(handle.get()))) {
        throw IoException::ForOtherThanFile(path);
    }
}

bool Delete(const String& path) noexcept {
    return Try([&] { return DeleteOne(ToSystemPath(path)); });
}

bool DeleteAll(const String& path) noexcept {
    // Below the folder paths may become too long for the other form.
    return Try([&] { return DeleteTree(MakeUnlimited(ToSystemPath(path))); });
}

bool CreateDirectoryRecursive(const String& path) noexcept {
    return Try([&] {
        const std::wstring folder = ToSystemPath(path);
        return MakeFolders(folder) || IsFolder(folder);
    });
}

bool DeleteEmptyFolder(const String& path) noexcept {
    return Try([&] {
        const std::wstring folder = ToSystemPath(path);
        const PathState state = GetPathState(folder);
        return state.isFolder && !state.isLink && RemoveDirectoryW(folder.c_str()) != 0;
    });
}

std::vector<String> GetNames(const String& folder) {
    return Translate("read", folder, [&] {
        std::vector<String> names;
        const std::wstring place = MakeUnlimited(ToSystemPath(folder));
        const SystemHandle handle = OpenHandle(place.c_str(), FILE_LIST_DIRECTORY, OPEN_EXISTING,
                                               FILE_FLAG_BACKUP_SEMANTICS);
        if (!handle && !GetPathState(place).isThere) {
            return names;
        }
        if (!handle || !IsFolder(handle.get())) {
            throw std::system_error(ToErrorCode(handle ? ERROR_DIRECTORY : ERROR_ACCESS_DENIED));
        }
        ForEachIn(place, [&](const std::wstring& /*path*/, const WIN32_FIND_DATAW& found) {
            names.push_back(FromSystemPath(found.cFileName));
            return true;
        });
        return names;
    });
}

String GetAbsolutePath(const String& path) {
    return Translate("find", path,
                     [&] { return FromSystemPath(MakeUnlimited(ToSystemPath(path))); });
}

String GetCanonicalPath(const String& path) {
    return Translate("find", path, [&] {
        return FromSystemPath(FindFinalPath(MakeUnlimited(ToSystemPath(path))));
    });
}

String FollowLinks(const String& path) {
    return Translate("find", path, [&] {
        const std::wstring place = ToSystemPath(path);
        if (!GetPathState(place).isLink) {
            return path;
        }
        const SystemHandle handle = OpenToLook(place);
        const std::optional<std::wstring> found =
            handle ? GetFinalPath(handle.get()) : std::nullopt;
        if (!found) {
            throw std::system_error(ToErrorCode());
        }
        return FromSystemPath(*found);
    });
}

std::uint64_t GetFreeBytes(const String& folder) noexcept {
    ULARGE_INTEGER available{};
    const bool isKnown = Try([&] {
        return GetDiskFreeSpaceExW(ToSystemPath(folder).c_str(), &available, nullptr, nullptr) != 0;
    });
    return isKnown ? available.QuadPart : std::numeric_limits<std::uint64_t>::max();
}

String GetTemporaryFolder() {
    std::wstring folder(MAX_PATH + 1, L'\0');  // it is no longer
    folder.resize(GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()));
    if (!IsFolder(folder)) {
        throw IoException("use", "the folder for temporary files",
                          ToErrorCode(ERROR_PATH_NOT_FOUND));
    }
    return FromSystemPath(folder);
}

void RestrictToOwner(const String& path) {
    Translate("keep others out of", path, [&] {
        const SystemHandle handle = OpenForRights(path, READ_CONTROL | WRITE_DAC);
        const auto heirs =
            IsFolder(handle.get()) ? OwnerOnly::Heirs::Content : OwnerOnly::Heirs::None;
        if (const std::error_code refused = OwnerOnly(heirs).SetFor(handle.get())) {
            throw std::system_error(refused);
        }
    });
}

bool IsOwnersAlone(const String& path) {
    return Translate("find the permissions of", path,
                     [&] { return AllowsOwnerOnly(OpenForRights(path, READ_CONTROL).get()); });
}

void DeleteAbandonedFiles(const String& folder, int depth) noexcept {
    Try([&] {
        Sweep().Search(MakeUnlimited(ToSystemPath(folder)), depth);
        return true;
    });
}

}  // namespace Kernel::FileSystem
