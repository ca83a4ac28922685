#include "codecs/PNGRows.h"

#include "Raster/CodecException.h"

#include "codecs/PNGFilters.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

namespace Raster {

namespace {

using ChunkType = std::array<std::byte, 4>;

constexpr ChunkType MakeType(const char (&name)[5]) {
    return {std::byte(name[0]), std::byte(name[1]), std::byte(name[2]), std::byte(name[3])};
}
constexpr ChunkType DataType = MakeType("IDAT");
constexpr ChunkType PaletteType = MakeType("PLTE");
constexpr ChunkType EndType = MakeType("IEND");

[[noreturn]] void Refuse(const char* reason) {
    throw CodecException(std::string("the PNG data is damaged or of an unsupported kind: ") +
                         reason);
}

std::uint32_t GetNumber(const std::byte* bytes) noexcept {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) {
        number = number << 8 | std::to_integer<std::uint32_t>(bytes[i]);
    }
    return number;
}

bool IsCapital(std::byte letter) noexcept {
    return letter >= std::byte{'A'} && letter <= std::byte{'Z'};
}

bool IsLetter(std::byte letter) noexcept {
    return IsCapital(letter & ~std::byte{0x20});
}

}  // namespace

PNGRows::PNGRows(BufferedSource& source, std::unique_ptr<QuickInflater> inflater,
                 std::uint32_t firstSize, const Layout& layout)
    : m_source(source), m_inflater(std::move(inflater)), m_layout(layout) {
    const std::size_t size = layout.width * layout.channelCount * layout.sampleSize;
    m_filtered.resize(1 + size + FilterPadding);
    m_row.resize(size + FilterPadding);
    m_rowAbove.resize(size + FilterPadding);
    BeginChunk({firstSize, DataType});
}

void PNGRows::ReadRow(std::byte* row) {
    InflateRow();
    const std::size_t size = m_row.size() - FilterPadding;
    const auto type = std::to_integer<std::uint8_t>(m_filtered[0]);
    if (type > LastFilterType) {
        Refuse("a row has an unknown filter");
    }
    Unfilter(type, m_filtered.data() + 1, m_rowAbove.data(), m_row.data(), size,
             m_layout.channelCount * m_layout.sampleSize);
    m_row.swap(m_rowAbove);
    if (m_layout.channelCount % 2 == 0) {
        std::memcpy(row, m_rowAbove.data(), size);
    } else {
        AddAlpha(row);
    }
    if (m_layout.sampleSize == 2 && std::endian::native == std::endian::little) {
        const std::size_t channels = m_layout.channelCount <= 2 ? 2 : 4;
        SwapSampleBytes(row, row, m_layout.width * channels);
    }
}

void PNGRows::Finish() {
    // Deliberate: bytes beyond the last row are ignored, as libpng does.
    std::byte beyond{};
    while (!m_inflater->HasEnded() && m_inflater->Inflate(m_input, {&beyond, 1}) == 0) {
        if (m_input.empty() && !m_inflater->HasEnded()) {
            m_input = TakeInput();
        }
    }
    do {
        SkipChunk();
    } while (ReadNextHead() || m_chunk.type != EndType);
    SkipChunk();
}

/// Fills m_filtered.
void PNGRows::InflateRow() {
    std::span<std::byte> rest = std::span(m_filtered).first(m_filtered.size() - FilterPadding);
    for (;;) {
        rest = rest.subspan(m_inflater->Inflate(m_input, rest));
        if (rest.empty()) {
            return;
        }
        if (m_inflater->HasEnded()) {
            Refuse("it has too few pixels");
        }
        m_input = TakeInput();
    }
}

/// The row in m_rowAbove with opaque alpha.
void PNGRows::AddAlpha(std::byte* row) const {
    const auto add = [&](auto colours) {
        constexpr std::size_t Colours = decltype(colours)::value;
        const std::byte* source = m_rowAbove.data();
        for (std::size_t x = 0; x < m_layout.width; ++x, source += Colours) {
            std::memcpy(row, source, Colours);
            row += Colours;
            for (std::size_t i = 0; i < (Colours % 3 == 0 ? Colours / 3 : Colours); ++i) {
                *row++ = std::byte{255};
            }
        }
    };
    switch (m_layout.channelCount * m_layout.sampleSize) {
        case 1:
            return add(std::integral_constant<std::size_t, 1>());
        case 2:
            return add(std::integral_constant<std::size_t, 2>());
        case 3:
            return add(std::integral_constant<std::size_t, 3>());
        default:
            return add(std::integral_constant<std::size_t, 6>());
    }
}

/// The next piece of compressed data.
std::span<const std::byte> PNGRows::TakeInput() {
    while (m_left == 0) {
        SkipChunk();
        if (!ReadNextHead()) {
            Refuse("it has too few pixels");
        }
    }
    return TakeData();
}

std::span<const std::byte> PNGRows::TakeData() {
    const std::span<const std::byte> piece = m_source.TakePiece(m_left);
    if (piece.empty()) {
        Refuse("it ends too early");
    }
    m_left -= static_cast<std::uint32_t>(piece.size());
    m_crc = m_inflater->AddToCRC(m_crc, piece);
    return piece;
}

bool PNGRows::ReadNextHead() {
    std::array<std::byte, 8> bytes;
    ReadExactly(bytes);
    ChunkHead head{GetNumber(bytes.data()), {}};
    std::copy_n(bytes.begin() + 4, 4, head.type.begin());
    constexpr std::uint32_t MostSize = 0x7FFF'FFFF;
    if (head.size > MostSize || !std::ranges::all_of(head.type, IsLetter)) {
        Refuse("a chunk has no name or is too long");
    }
    // A small letter marks what a reader need not know.
    if (IsCapital(head.type[0]) && head.type != DataType && head.type != EndType &&
        head.type != PaletteType) {
        Refuse("a chunk is out of place or unknown");
    }
    BeginChunk(head);
    return head.type == DataType;
}

void PNGRows::BeginChunk(const ChunkHead& head) {
    m_chunk = head;
    m_left = head.size;
    m_crc = m_inflater->AddToCRC(0, head.type);
}

/// Reads the rest of the current chunk, and checks it.
void PNGRows::SkipChunk() {
    while (m_left > 0) {
        TakeData();
    }
    std::array<std::byte, 4> crc;
    ReadExactly(crc);
    if (GetNumber(crc.data()) != m_crc) {
        Refuse("the checksum of a chunk is wrong");
    }
}

void PNGRows::ReadExactly(std::span<std::byte> bytes) {
    if (!m_source.Read(bytes)) {
        Refuse("it ends too early");
    }
}

}  // namespace Raster
