// The pixels of PNG files of the usual kinds, without libpng.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/QuickInflate.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Raster {

/// Reads a file from the data of its first IDAT chunk to its end: not interlaced, and of whole
/// samples, 8 or 16 bits each, of all channels: no palette. Throws CodecException for damaged data.
class PNGRows {
public:
    struct Layout {
        std::size_t width = 0;
        std::size_t channelCount = 0;  // 1 to 4
        std::size_t sampleSize = 0;    // in bytes
    };

    /// `firstSize` is the size of the first IDAT chunk's data, at which `source` is.
    PNGRows(BufferedSource& source, std::unique_ptr<QuickInflater> inflater,
            std::uint32_t firstSize, const Layout& layout);

    /// The next row, with alpha added if the file has none, in the byte order of this machine.
    void ReadRow(std::byte* row);
    /// Reads what follows the last row, and checks it.
    void Finish();

private:
    struct ChunkHead {
        std::uint32_t size = 0;
        std::array<std::byte, 4> type{};
    };

    void InflateRow();
    void AddAlpha(std::byte* row) const;
    std::span<const std::byte> TakeInput();
    /// Whether there is another IDAT chunk, which is then the current one.
    bool ReadNextHead();
    void SkipChunk();
    void ReadExactly(std::span<std::byte> bytes);
    void BeginChunk(const ChunkHead& head);
    std::span<const std::byte> TakeData();

    BufferedSource& m_source;
    std::unique_ptr<QuickInflater> m_inflater;
    Layout m_layout;
    ChunkHead m_chunk;
    std::uint32_t m_left = 0;  // of the chunk's data
    std::uint32_t m_crc = 0;   // of its type and the data that was read
    std::span<const std::byte> m_input;
    // With FilterPadding behind each.
    std::vector<std::byte> m_filtered;  // the filter type, then a row
    std::vector<std::byte> m_row;
    std::vector<std::byte> m_rowAbove;
};

}  // namespace Raster
