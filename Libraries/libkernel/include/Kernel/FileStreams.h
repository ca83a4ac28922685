// Files as streams. Paths are UTF-8 on every system.

#pragma once

#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <memory>
#include <vector>

namespace Kernel {

class FileHandle;

/// Reads a file without a buffer, one system call for each Read(): for large reads.
class KERNEL_API FileInStream : public SeekableInStream {
public:
    /// Opens the file at `path`. Other processes may read, write and delete it meanwhile. Throws
    /// IoException if that fails or `path` is no regular file but a folder, a pipe or a device.
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

/// Reads a file through a buffer: for small reads.
class KERNEL_API FastFileInStream : public SeekableInStream {
public:
    /// Opens as FileInStream::Open() does, with a buffer of `bufferSize` bytes (at least 1).
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

/// Writes a file without a buffer: once Write() has returned, other processes can read the bytes.
class KERNEL_API FileOutStream : public OutStream {
public:
    /// Creates the file at `path`, or truncates an existing one. Other processes may read and
    /// delete it meanwhile. Throws IoException if that fails.
    static Counted<FileOutStream> Create(const String& path);

    explicit FileOutStream(std::unique_ptr<FileHandle> file) noexcept;
    ~FileOutStream() override;

    void Write(std::span<const std::byte> bytes) override;

private:
    std::unique_ptr<FileHandle> m_file;
};

}  // namespace Kernel
