// Files as streams. Paths are UTF-8 on every system.

#pragma once

#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <memory>
#include <vector>

namespace Kernel {

class FileHandle;

/// Reads a file, each Read() from the system: for reading in large pieces.
class KERNEL_API FileInStream : public SeekableInStream {
public:
    /// Opens the file at `path`, which others may go on reading, writing and deleting. Throws
    /// IoException if that fails, or if it is a folder.
    static Counted<FileInStream> Open(const String& path);

    explicit FileInStream(std::unique_ptr<FileHandle> file) noexcept;
    ~FileInStream() override;

    std::size_t Read(std::span<std::byte> buffer) override;
    std::uint64_t GetSize() override;
    std::uint64_t GetPosition() override { return m_position; }
    void Seek(std::uint64_t position) override { m_position = position; }

private:
    std::unique_ptr<FileHandle> m_file;
    std::uint64_t m_position = 0;
};

/// Reads a file through a buffer: for reading in small pieces.
class KERNEL_API FastFileInStream : public SeekableInStream {
public:
    /// Opens as FileInStream::Open() does, with a buffer of `bufferSize` bytes (1 at least).
    static Counted<FastFileInStream> Open(const String& path, std::size_t bufferSize);

    FastFileInStream(Counted<FileInStream> file, std::size_t bufferSize);
    ~FastFileInStream() override;

    std::size_t Read(std::span<std::byte> buffer) override;
    std::uint64_t GetSize() override;
    std::uint64_t GetPosition() override;
    void Seek(std::uint64_t position) override;

private:
    Counted<FileInStream> m_file;
    std::vector<std::byte> m_buffer;
    std::size_t m_next = 0;  // of m_buffer, which holds m_end bytes that end where m_file stands
    std::size_t m_end = 0;
};

/// Writes a file. Nothing is buffered here: what Write() has returned from, other processes can
/// read.
class KERNEL_API FileOutStream : public OutStream {
public:
    /// Creates the file at `path`, or empties the one that is there; others may go on reading and
    /// deleting it. Throws IoException if that fails.
    static Counted<FileOutStream> Create(const String& path);

    explicit FileOutStream(std::unique_ptr<FileHandle> file) noexcept;
    ~FileOutStream() override;

    void Write(std::span<const std::byte> bytes) override;

private:
    std::unique_ptr<FileHandle> m_file;
};

}  // namespace Kernel
