#include "Kernel/IoException.h"

#include "files/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace Kernel {

namespace {

/// Calls `call` again for as long as signals interrupt it.
template <class Call>
auto RetryInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int Open(const String& path, int flags, mode_t mode) {
    return RetryInterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, mode); });
}

struct stat GetStatus(int descriptor, const String& path) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        throw IoException("read", path, errno);
    }
    return status;
}

}  // namespace

std::unique_ptr<FileHandle> FileHandle::OpenForReading(const String& path) {
    const int descriptor = Open(path, O_RDONLY, 0);
    if (descriptor < 0) {
        throw IoException("open", path, errno);
    }
    auto file = std::make_unique<FileHandle>(descriptor, path);
    if (S_ISDIR(GetStatus(descriptor, path).st_mode)) {
        throw IoException("open", path, EISDIR);  // open() itself lets folders through
    }
    return file;
}

std::unique_ptr<FileHandle> FileHandle::CreateForWriting(const String& path) {
    const int descriptor = Open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (descriptor < 0) {
        throw IoException("create", path, errno);
    }
    return std::make_unique<FileHandle>(descriptor, path);
}

bool FileHandle::CreateExclusively(const String& path) {
    const int descriptor = Open(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (descriptor < 0 && errno == EEXIST) {
        return false;
    }
    if (descriptor < 0) {
        throw IoException("create", path, errno);
    }
    close(descriptor);
    return true;
}

FileHandle::~FileHandle() {
    close(m_descriptor);
}

std::size_t FileHandle::ReadAt(std::uint64_t position, std::span<std::byte> buffer) {
    if (position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        return 0;
    }
    const auto count = RetryInterrupted([&] {
        return pread(m_descriptor, buffer.data(), buffer.size(), static_cast<off_t>(position));
    });
    if (count < 0) {
        throw IoException("read", m_path, errno);
    }
    return static_cast<std::size_t>(count);
}

void FileHandle::Write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const auto count =
            RetryInterrupted([&] { return write(m_descriptor, bytes.data(), bytes.size()); });
        if (count < 0) {
            throw IoException("write", m_path, errno);
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

std::uint64_t FileHandle::GetSize() {
    return static_cast<std::uint64_t>(GetStatus(m_descriptor, m_path).st_size);
}

}  // namespace Kernel
