#include "Kernel/IoException.h"
#include "Kernel/Utf.h"

#include "files/FileHandle.h"
#include "files/FolderPart.h"
#include "files/linux/AccessList.h"
#include "files/linux/UnnamedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <string_view>
#include <system_error>

namespace Kernel {

namespace {

/// The error of the last system call.
std::error_code GetLastError() noexcept {
    return {errno, std::generic_category()};
}

/// Repeats `call` while signals interrupt it (EINTR).
template <class Call>
auto RetryInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int Open(const String& path, int flags, mode_t mode) {
    if (HasZeroByte(path)) {
        errno = EINVAL;
        return -1;
    }
    return RetryInterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, mode); });
}

struct stat GetStatus(int descriptor, const String& path) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        throw IoException("read", path, GetLastError());
    }
    return status;
}

/// The folder that the file at `path` is in.
String GetFolder(const String& path) {
    const std::string_view folder = GetFolderPart(path);
    return folder.empty() ? "." : folder;
}

/// Flushes the folder of `path` to the disk. Ignores errors: some file systems can't do it.
void SyncFolder(const String& path) {
    const int descriptor = Open(GetFolder(path), O_RDONLY | O_DIRECTORY, 0);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

class PosixFileHandle : public FileHandle {
public:
    PosixFileHandle(int descriptor, const String& path) : m_descriptor(descriptor), m_path(path) {}
    ~PosixFileHandle() override;

    std::size_t ReadAt(std::uint64_t position, std::span<std::byte> buffer) override;
    void Write(std::span<const std::byte> bytes) override;
    std::uint64_t GetSize() override;
    void Sync() override;
    void SetName(const String& path) override;
    void CopyOwnership(const String& path) override;

private:
    int m_descriptor;
    String m_path;
};

PosixFileHandle::~PosixFileHandle() {
    close(m_descriptor);
}

std::size_t PosixFileHandle::ReadAt(std::uint64_t position, std::span<std::byte> buffer) {
    constexpr std::uint64_t Limit = std::numeric_limits<off_t>::max();  // for position plus size
    if (position > Limit || buffer.size() > Limit - position) {
        return 0;
    }
    const auto count = RetryInterrupted([&] {
        return pread(m_descriptor, buffer.data(), buffer.size(), static_cast<off_t>(position));
    });
    if (count < 0) {
        throw IoException("read", m_path, GetLastError());
    }
    return static_cast<std::size_t>(count);
}

void PosixFileHandle::Write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const auto count =
            RetryInterrupted([&] { return write(m_descriptor, bytes.data(), bytes.size()); });
        if (count < 0) {
            throw IoException("write", m_path, GetLastError());
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void PosixFileHandle::Sync() {
    if (RetryInterrupted([&] { return fsync(m_descriptor); }) != 0) {
        throw IoException("write", m_path, GetLastError());
    }
}

void PosixFileHandle::SetName(const String& path) {
    if (NameFile(m_descriptor, path) != 0) {
        throw IoException("write", m_path, GetLastError());
    }
}

void PosixFileHandle::CopyOwnership(const String& path) {
    constexpr mode_t Permissions = S_IRWXU | S_IRWXG | S_IRWXO;
    constexpr mode_t Writing = S_IWUSR | S_IWGRP | S_IWOTH;
    struct stat other {};
    if (stat(path.c_str(), &other) != 0 || access(path.c_str(), W_OK) != 0) {
        throw IoException("write", path, GetLastError());
    }
    if ((other.st_mode & Writing) == 0) {  // which does not keep the superuser from it
        throw IoException("write", path, std::make_error_code(std::errc::permission_denied));
    }
    const struct stat own = GetStatus(m_descriptor, m_path);
    const bool isSame = own.st_uid == other.st_uid && own.st_gid == other.st_gid;
    // Nothing is set that is right already: some file systems, such as FAT, have the same for all
    // files and let nobody set it.
    const auto hasMode = [&] {
        return ((GetStatus(m_descriptor, m_path).st_mode ^ other.st_mode) & Permissions) == 0;
    };
    if ((!isSame && fchown(m_descriptor, other.st_uid, other.st_gid) != 0) ||
        CopyAccessList(path, m_descriptor) != 0 ||
        (!hasMode() && fchmod(m_descriptor, other.st_mode & Permissions) != 0)) {
        throw IoException("keep the owner and permissions of", path, GetLastError());
    }
}

std::uint64_t PosixFileHandle::GetSize() {
    return static_cast<std::uint64_t>(GetStatus(m_descriptor, m_path).st_size);
}

}  // namespace

std::unique_ptr<FileHandle> FileHandle::OpenForReading(const String& path) {
    // O_NONBLOCK has no effect on files; without it, open() of a pipe would wait for a writer.
    const int descriptor = Open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY, 0);
    if (descriptor < 0) {
        throw IoException("open", path, GetLastError());
    }
    auto file = std::make_unique<PosixFileHandle>(descriptor, path);
    if (!S_ISREG(GetStatus(descriptor, path).st_mode)) {
        throw IoException::ForOtherThanFile(path);
    }
    return file;
}

std::unique_ptr<FileHandle> FileHandle::CreateForWriting(const String& path, Existing existing,
                                                         const String& shownPath) {
    const int flags = existing == Existing::Truncate ? O_TRUNC : O_EXCL;
    const int descriptor = Open(path, O_WRONLY | O_CREAT | flags, 0666);
    if (descriptor < 0) {
        throw IoException("create", shownPath, GetLastError());
    }
    return std::make_unique<PosixFileHandle>(descriptor, shownPath);
}

std::unique_ptr<FileHandle> FileHandle::CreateUnnamed(const String& target) {
    const int descriptor = OpenUnnamedFile(GetFolder(target));
    return descriptor < 0 ? nullptr : std::make_unique<PosixFileHandle>(descriptor, target);
}

bool FileHandle::CreateExclusively(const String& path) {
    const int descriptor = Open(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (descriptor < 0 && errno == EEXIST) {
        return false;
    }
    if (descriptor < 0) {
        throw IoException("create", path, GetLastError());
    }
    close(descriptor);
    return true;
}

void FileHandle::Replace(const String& source, const String& target) {
    if (HasZeroByte(target)) {
        throw IoException("write", target, std::make_error_code(std::errc::invalid_argument));
    }
    if (rename(source.c_str(), target.c_str()) != 0) {
        throw IoException("write", target, GetLastError());
    }
    SyncFolder(target);
}

}  // namespace Kernel
