#include "files/windows/Replacement.h"

#include "files/windows/SystemHandle.h"
#include "files/windows/SystemPath.h"

#include <cstddef>
#include <cstring>
#include <vector>

namespace Kernel {

namespace {

// Others, such as programs that look for viruses, hold new files for moments.
constexpr DWORD FirstWait = 1;  // milliseconds, doubled each time
constexpr DWORD LongestWait = 1024;

// What MinGW's headers lack of SetFileInformationByHandle(), since Windows 10 1607:
// FILE_RENAME_INFO with flags.
constexpr auto RenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
constexpr DWORD ReplaceIfExists = 1;
constexpr DWORD PosixSemantics = 2;

struct RenameRequest {
    DWORD flags;
    HANDLE folder;  // null: the name is a whole path
    DWORD nameSize;
    wchar_t name[1];  // and more
};

/// Renames as POSIX has it, in one step: the old file lives on without a name while it is open.
DWORD RenameOpen(const std::wstring& source, const std::wstring& target) {
    const SystemHandle file =
        OpenHandle(source.c_str(), GENERIC_WRITE | DELETE, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    if (!file) {
        return GetLastError();
    }
    const std::wstring name = MakeUnlimited(target);
    const std::size_t nameSize = name.size() * sizeof(wchar_t);
    std::vector<std::byte> buffer(sizeof(RenameRequest) + nameSize);
    auto& request = *reinterpret_cast<RenameRequest*>(buffer.data());
    request.flags = ReplaceIfExists | PosixSemantics;
    request.nameSize = static_cast<DWORD>(nameSize);
    std::memcpy(request.name, name.c_str(), nameSize);
    if (SetFileInformationByHandle(file.get(), RenameInfoEx, &request,
                                   static_cast<DWORD>(buffer.size())) == 0) {
        return GetLastError();
    }
    FlushFileBuffers(file.get());
    return ERROR_SUCCESS;
}

/// Whether the system, or the file system, does not know how to RenameOpen().
bool IsUnknown(DWORD error) noexcept {
    return error == ERROR_INVALID_PARAMETER || error == ERROR_INVALID_FUNCTION ||
           error == ERROR_NOT_SUPPORTED || error == ERROR_CALL_NOT_IMPLEMENTED;
}

DWORD RenameClosed(const std::wstring& source, const std::wstring& target) {
    constexpr DWORD Flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    return MoveFileExW(source.c_str(), target.c_str(), Flags) != 0 ? ERROR_SUCCESS : GetLastError();
}

bool MayPass(DWORD error, const std::wstring& target) {
    const bool isHeld = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ||
                        error == ERROR_ACCESS_DENIED;
    if (!isHeld) {
        return false;
    }
    const DWORD attributes = GetFileAttributesW(target.c_str());
    constexpr DWORD Lasting = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY;
    return attributes == INVALID_FILE_ATTRIBUTES || (attributes & Lasting) == 0;
}

}  // namespace

std::error_code RepeatWhileHeld(const std::wstring& path,
                                const std::function<unsigned long()>& attempt) {
    for (DWORD wait = FirstWait;; wait *= 2) {
        const DWORD error = attempt();
        if (error == ERROR_SUCCESS) {
            return {};
        }
        if (wait > LongestWait || !MayPass(error, path)) {
            return ToErrorCode(error);
        }
        Sleep(wait);
    }
}

std::error_code ReplaceFile(const std::wstring& source, const std::wstring& target) {
    return RepeatWhileHeld(target, [&] {
        const DWORD error = RenameOpen(source, target);
        return IsUnknown(error) ? RenameClosed(source, target) : error;
    });
}

}  // namespace Kernel
