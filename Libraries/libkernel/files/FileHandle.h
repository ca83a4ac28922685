// An open file of the operating system.

#pragma once

#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Kernel {

/// Owns an open file. All operations but closing throw IoException on failure.
class FileHandle {
public:
    enum class Existing { Truncate, Refuse };

    static std::unique_ptr<FileHandle> OpenForReading(const String& path);
    /// Creates a file; `existing` says what happens if there is one already. Errors name the file
    /// `shownPath`.
    static std::unique_ptr<FileHandle> CreateForWriting(const String& path, Existing existing,
                                                        const String& shownPath);
    /// Creates a file without a name, which vanishes unless it gets one, in the folder of `target`.
    /// Errors name it `target`. Null where that can't be done.
    static std::unique_ptr<FileHandle> CreateUnnamed(const String& target);
    /// Creates an empty file that only the current user may open; false if `path` exists already.
    static bool CreateExclusively(const String& path);
    /// Renames `source` to `target` atomically and flushes the folder to the disk.
    static void Replace(const String& source, const String& target);

    FileHandle() = default;
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    virtual ~FileHandle() = default;

    /// Reads up to `buffer.size()` bytes at `position` and returns their number; 0 at the end.
    virtual std::size_t ReadAt(std::uint64_t position, std::span<std::byte> buffer) = 0;
    /// Appends all of `bytes` to what was written before.
    virtual void Write(std::span<const std::byte> bytes) = 0;
    virtual std::uint64_t GetSize() = 0;
    /// Flushes all written data to the disk.
    virtual void Sync() = 0;
    /// Gives the file of CreateUnnamed() the name `path`, which must not exist yet.
    virtual void SetName(const String& path) = 0;
    /// Takes over the owner, group, permissions and access control list of the file at `path`.
    /// Fails, too, if that may not be written.
    virtual void CopyOwnership(const String& path) = 0;
};

}  // namespace Kernel
