// The interfaces of byte streams.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Kernel {

// All operations throw IoException if the underlying device fails. A stream is used by one thread
// at a time.

/// A byte stream to write to.
class KERNEL_API OutStream : public virtual Countable {
public:
    /// Writes all of `bytes`.
    virtual void Write(std::span<const std::byte> bytes) = 0;
    /// Writes all buffered bytes to the underlying device.
    virtual void Flush() {}
};

/// A byte stream to read from.
class KERNEL_API InStream : public virtual Countable {
public:
    /// Reads up to `buffer.size()` bytes and returns their number; 0 only at the end of the stream
    /// or for an empty buffer.
    virtual std::size_t Read(std::span<std::byte> buffer) = 0;

    /// Reads until `buffer` is full or the stream ends, and returns the number of bytes.
    std::size_t ReadFully(std::span<std::byte> buffer);

    /// Copies the rest of this stream to `target` and returns the number of bytes.
    std::uint64_t CopyTo(OutStream& target);
};

/// A byte stream with random access.
class KERNEL_API SeekableInStream : public InStream {
public:
    virtual std::uint64_t GetSize() = 0;
    virtual std::uint64_t GetPosition() = 0;
    /// Sets the position of the next read, in bytes from the start. Reads beyond the end return 0.
    virtual void Seek(std::uint64_t position) = 0;
};

}  // namespace Kernel
