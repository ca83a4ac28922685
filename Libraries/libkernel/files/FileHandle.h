// An open file of the operating system.

#pragma once

#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Kernel {

/// Owns an open file and closes it. All failures but those of closing are IoException.
class FileHandle {
public:
    static std::unique_ptr<FileHandle> OpenForReading(const String& path);
    enum class Existing { Truncate, Refuse };

    /// Creates a file; what becomes of one that is there is said by `existing`.
    static std::unique_ptr<FileHandle> CreateForWriting(const String& path, Existing existing);
    /// Creates an empty file that only the current user may open; false if there is one already.
    static bool CreateExclusively(const String& path);
    /// Moves the file `source` to the place of `target` in one step that survives a loss of power.
    static void Replace(const String& source, const String& target);

    FileHandle(int descriptor, const String& path) : m_descriptor(descriptor), m_path(path) {}
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle();

    /// Reads what is there at `position`, up to the size of `buffer`; 0 at the end.
    std::size_t ReadAt(std::uint64_t position, std::span<std::byte> buffer);
    /// Writes all of `bytes` at the position of the last write.
    void Write(std::span<const std::byte> bytes);
    std::uint64_t GetSize();
    /// Returns once everything written is safe on the disk.
    void Sync();

private:
    int m_descriptor;
    String m_path;
};

}  // namespace Kernel
