// An open file or socket of a POSIX system, with an owner. For files in folders posix/ and linux/.

#pragma once

#include "Server/Content.h"

#include <unistd.h>

#include <memory>
#include <utility>

namespace Server {

/// Closes its descriptor when it dies.
class FileDescriptor {
public:
    FileDescriptor() noexcept = default;
    explicit FileDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileDescriptor() { Close(); }

    void Close() noexcept {
        if (m_descriptor >= 0) {
            close(std::exchange(m_descriptor, -1));
        }
    }

    bool IsOpen() const noexcept { return m_descriptor >= 0; }
    int Get() const noexcept { return m_descriptor; }

private:
    int m_descriptor = -1;
};

/// A file that is open for reading, as content. Throws std::system_error if its size is not known.
std::shared_ptr<const ContentFile> MakeContentFile(FileDescriptor file);

}  // namespace Server
