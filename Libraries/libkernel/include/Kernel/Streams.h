// The interfaces of all streams of bytes.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Kernel {

// All operations throw IoException when the device below fails. A stream is used by one thread at a
// time.

/// Takes bytes.
class KERNEL_API OutStream : public virtual Countable {
public:
    /// Takes all of `bytes`.
    virtual void Write(std::span<const std::byte> bytes) = 0;
    /// Hands on to the system whatever this stream still holds.
    virtual void Flush() {}
};

/// Gives bytes.
class KERNEL_API InStream : public virtual Countable {
public:
    /// Reads up to `buffer.size()` bytes and returns how many; 0 only at the end, or for an empty
    /// buffer.
    virtual std::size_t Read(std::span<std::byte> buffer) = 0;

    /// Reads until `buffer` is full or the stream ends, and returns how many bytes there were.
    std::size_t ReadFully(std::span<std::byte> buffer);

    /// Copies the rest of this stream to `target`, and returns how many bytes that were.
    std::uint64_t CopyTo(OutStream& target);
};

/// Gives bytes from any position.
class KERNEL_API SeekableInStream : public InStream {
public:
    virtual std::uint64_t GetSize() = 0;
    virtual std::uint64_t GetPosition() = 0;
    /// The next byte read is number `position`; beyond the end there is nothing to read.
    virtual void Seek(std::uint64_t position) = 0;
};

}  // namespace Kernel
