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
    enum class Existing { Truncate, Refuse };

    static std::unique_ptr<FileHandle> OpenForReading(const String& path);
    /// Creates a file; what becomes of one that is there is said by `existing`.
    static std::unique_ptr<FileHandle> CreateForWriting(const String& path, Existing existing);
    /// Creates an empty file that only the current user may open; false if there is one already.
    static bool CreateExclusively(const String& path);
    /// Moves the file `source` to the place of `target` in one step that survives a loss of power.
    static void Replace(const String& source, const String& target);

    FileHandle() = default;
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    virtual ~FileHandle() = default;

    /// Reads what is there at `position`, up to the size of `buffer`; 0 at the end.
    virtual std::size_t ReadAt(std::uint64_t position, std::span<std::byte> buffer) = 0;
    /// Writes all of `bytes` at the position of the last write.
    virtual void Write(std::span<const std::byte> bytes) = 0;
    virtual std::uint64_t GetSize() = 0;
    /// Returns once everything written is safe on the disk.
    virtual void Sync() = 0;
};

}  // namespace Kernel
