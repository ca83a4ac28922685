// A stream over memory that grows as it is written.

#pragma once

#include "Kernel/Streams.h"

#include <vector>

namespace Kernel {

/// Bytes in memory that can be appended and read from any position. Write() always appends; only
/// Read() and Seek() change the read position.
class KERNEL_API MemoryInOutStream : public SeekableInStream, public OutStream {
public:
    MemoryInOutStream() = default;
    /// Initial contents: `bytes`, with the read position at their start.
    explicit MemoryInOutStream(std::vector<std::byte> bytes) noexcept;
    ~MemoryInOutStream() override;

    std::size_t Read(std::span<std::byte> buffer) override;
    std::uint64_t GetSize() override { return m_bytes.size(); }
    std::uint64_t GetPosition() override { return m_position; }
    void Seek(std::uint64_t position) override { m_position = position; }
    void Write(std::span<const std::byte> bytes) override;

    /// All bytes, whatever the read position; valid until the next Write().
    std::span<const std::byte> GetBytes() const noexcept { return m_bytes; }

private:
    std::vector<std::byte> m_bytes;
    std::uint64_t m_position = 0;
};

}  // namespace Kernel
