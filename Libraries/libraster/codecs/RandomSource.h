// The bytes of a file in any order, for formats whose parts lie anywhere.

#pragma once

#include "codecs/BufferedSource.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Raster {

/// Streams with random access are read where they lie; all that is in others is held in memory.
class RandomSource {
public:
    /// `source`, of which nothing but the start was peeked at, must outlive this. Throws
    /// CodecException if a stream without random access has more than a gigabyte.
    explicit RandomSource(BufferedSource& source);

    std::uint64_t GetSize() const noexcept { return m_size; }
    /// Fills `target` from `position`; false if there are fewer bytes.
    [[nodiscard]] bool ReadAt(std::uint64_t position, std::span<std::byte> target);

private:
    void ReadWhole(BufferedSource& source);

    Kernel::SeekableInStream* m_stream;  // null if all is in m_bytes
    std::uint64_t m_start = 0;           // of the file in the stream
    std::uint64_t m_size = 0;
    std::vector<std::byte> m_bytes;
};

}  // namespace Raster
