// A stream over memory that grows as it is written.

#pragma once

#include "Kernel/Streams.h"

#include <vector>

namespace Kernel {

/// Bytes in memory that can be written at the end and read from any position. Reading and writing
/// do not disturb each other: only reads and Seek() move the position.
class KERNEL_API MemoryInOutStream : public SeekableInStream, public OutStream {
public:
    MemoryInOutStream() = default;
    /// Starts with `bytes` to read.
    explicit MemoryInOutStream(std::vector<std::byte> bytes) noexcept;
    ~MemoryInOutStream() override;

    std::size_t Read(std::span<std::byte> buffer) override;
    std::uint64_t GetSize() override { return m_bytes.size(); }
    std::uint64_t GetPosition() override { return m_position; }
    void Seek(std::uint64_t position) override { m_position = position; }
    void Write(std::span<const std::byte> bytes) override;

    /// All bytes, read or not; valid until the next Write().
    std::span<const std::byte> GetBytes() const noexcept { return m_bytes; }

private:
    std::vector<std::byte> m_bytes;
    std::uint64_t m_position = 0;
};

}  // namespace Kernel
