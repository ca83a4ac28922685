// A buffered input stream for decoders, whose first bytes can be peeked at to choose the codec.

#pragma once

#include "Kernel/Streams.h"

#include <array>
#include <cstddef>
#include <span>

namespace Raster {

class BufferedSource {
public:
    explicit BufferedSource(Kernel::InStream& stream) noexcept : m_stream(stream) {}

    /// Peeks at the first `count` bytes, or all if there are fewer, without consuming them. To be
    /// called before anything is read.
    std::span<const std::byte> PeekStart(std::size_t count);

    /// Consumes the buffer, refilling it first if it is empty. Empty only at the end of the stream.
    /// Valid until the next call.
    std::span<const std::byte> TakePiece();
    /// The same for at most `most` bytes, which is not 0.
    std::span<const std::byte> TakePiece(std::size_t most);

    /// Fills `target`; false if the stream ends before that.
    [[nodiscard]] bool Read(std::span<std::byte> target);

    /// The stream, if it has random access, or null: for decoders that call nothing else.
    Kernel::SeekableInStream* FindSeekable() const noexcept;
    /// How many bytes of the stream PeekStart() has read.
    std::size_t GetPeekedSize() const noexcept { return m_end; }

private:
    std::span<const std::byte> GetUnread();

    Kernel::InStream& m_stream;
    std::array<std::byte, 16384> m_buffer;
    std::size_t m_next = 0;
    std::size_t m_end = 0;
};

}  // namespace Raster
