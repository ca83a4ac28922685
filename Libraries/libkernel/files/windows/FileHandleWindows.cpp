#include "Kernel/IoException.h"

#include "files/FileHandle.h"
#include "files/FolderPart.h"
#include "files/windows/FileSecurity.h"
#include "files/windows/Replacement.h"
#include "files/windows/SystemHandle.h"
#include "files/windows/SystemPath.h"

#include <algorithm>
#include <limits>

namespace Kernel {

namespace {

// What one call reads or writes at most.
constexpr std::size_t MaximumPiece = std::size_t{1} << 30;

class WindowsFileHandle : public FileHandle {
public:
    WindowsFileHandle(SystemHandle handle, const String& path)
        : m_handle(std::move(handle)), m_path(path) {}

    std::size_t ReadAt(std::uint64_t position, std::span<std::byte> buffer) override;
    void Write(std::span<const std::byte> bytes) override;
    std::uint64_t GetSize() override;
    void Sync() override;
    void SetName(const String& path) override;
    void CopyOwnership(const String& path) override;

private:
    SystemHandle m_handle;
    String m_path;
};

std::size_t WindowsFileHandle::ReadAt(std::uint64_t position, std::span<std::byte> buffer) {
    constexpr std::uint64_t Limit = std::numeric_limits<std::int64_t>::max();  // position plus size
    if (position > Limit || buffer.size() > Limit - position) {
        return 0;
    }
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min(buffer.size(), MaximumPiece));
    if (ReadFile(m_handle.get(), buffer.data(), size, &count, &place) == 0 &&
        GetLastError() != ERROR_HANDLE_EOF) {
        throw IoException("read", m_path, ToErrorCode());
    }
    return count;
}

void WindowsFileHandle::Write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(std::min(bytes.size(), MaximumPiece));
        if (WriteFile(m_handle.get(), bytes.data(), size, &count, nullptr) == 0) {
            throw IoException("write", m_path, ToErrorCode());
        }
        bytes = bytes.subspan(count);
    }
}

std::uint64_t WindowsFileHandle::GetSize() {
    LARGE_INTEGER size{};
    if (GetFileSizeEx(m_handle.get(), &size) == 0) {
        throw IoException("read", m_path, ToErrorCode());
    }
    return static_cast<std::uint64_t>(size.QuadPart);
}

void WindowsFileHandle::Sync() {
    if (FlushFileBuffers(m_handle.get()) == 0) {
        throw IoException("write", m_path, ToErrorCode());
    }
}

void WindowsFileHandle::SetName(const String& path) {
    // CreateUnnamed() makes no file that could be named.
    throw IoException("write", path, std::make_error_code(std::errc::not_supported));
}

void WindowsFileHandle::CopyOwnership(const String& path) {
    const std::error_code refused = CopySecurity(ToSystemPath(path), m_handle.get());
    if (refused) {
        throw IoException("keep the owner and permissions of", path, refused);
    }
}

std::wstring ToTarget(const char* action, const String& path, const String& shownPath) {
    try {
        return ToSystemPath(path);
    } catch (const std::system_error& error) {
        throw IoException(action, shownPath, error.code());
    }
}

}  // namespace

std::unique_ptr<FileHandle> FileHandle::OpenForReading(const String& path) {
    // Folders are opened, too, to tell what they are.
    SystemHandle handle = OpenHandle(ToTarget("open", path, path).c_str(), GENERIC_READ,
                                     OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
    if (!handle) {
        throw IoException("open", path, ToErrorCode());
    }
    BY_HANDLE_FILE_INFORMATION state{};
    if (GetFileType(handle.get()) != FILE_TYPE_DISK ||
        (GetFileInformationByHandle(handle.get(), &state) != 0 &&
         (state.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)) {
        throw IoException::ForOtherThanFile(path);
    }
    return std::make_unique<WindowsFileHandle>(std::move(handle), path);
}

std::unique_ptr<FileHandle> FileHandle::CreateForWriting(const String& path, Existing existing,
                                                         const String& shownPath) {
    const std::wstring target = ToTarget("create", path, shownPath);
    // A new file may have to take over the rights of another one.
    SystemHandle handle =
        existing == Existing::Truncate
            ? OpenHandle(target.c_str(), GENERIC_WRITE, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL)
            : OpenHandle(target.c_str(), GENERIC_WRITE | READ_CONTROL | WRITE_DAC, CREATE_NEW,
                         FILE_ATTRIBUTE_NORMAL);
    if (!handle) {
        throw IoException("create", shownPath, ToErrorCode());
    }
    return std::make_unique<WindowsFileHandle>(std::move(handle), shownPath);
}

std::unique_ptr<FileHandle> FileHandle::CreateUnnamed(const String& /*target*/) {
    return nullptr;  // a file that is deleted when it is closed can't be kept
}

bool FileHandle::CreateExclusively(const String& path) {
    const std::wstring target = ToTarget("create", path, path);
    OwnerOnly security;
    if (OpenHandle(target.c_str(), GENERIC_WRITE, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                   security.Get())) {
        return true;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) {
        return false;
    }
    throw IoException("create", path, ToErrorCode(error));
}

void FileHandle::Replace(const String& source, const String& target) {
    const std::error_code refused =
        ReplaceFile(ToTarget("write", source, target), ToTarget("write", target, target));
    if (refused) {
        throw IoException("write", target, refused);
    }
}

}  // namespace Kernel
