#include "codecs/RandomSource.h"

#include "Raster/CodecException.h"

#include <algorithm>
#include <string>

namespace Raster {

RandomSource::RandomSource(BufferedSource& source) : m_stream(source.FindSeekable()) {
    const std::uint64_t position = m_stream != nullptr ? m_stream->GetPosition() : 0;
    // That of a pipe has no size.
    if (m_stream == nullptr || m_stream->GetSize() < position) {
        m_stream = nullptr;
        ReadWhole(source);
        return;
    }
    m_start = position - source.GetPeekedSize();
    m_size = m_stream->GetSize() - m_start;
}

bool RandomSource::ReadAt(std::uint64_t position, std::span<std::byte> target) {
    if (position > m_size || target.size() > m_size - position) {
        return false;
    }
    if (m_stream != nullptr) {
        m_stream->Seek(m_start + position);
        return m_stream->ReadFully(target) == target.size();
    }
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(position), target.size(),
                target.begin());
    return true;
}

void RandomSource::ReadWhole(BufferedSource& source) {
    constexpr std::size_t MaximumSize = std::size_t{1} << 30;
    for (auto piece = source.TakePiece(); !piece.empty(); piece = source.TakePiece()) {
        if (piece.size() > MaximumSize - m_bytes.size()) {
            throw CodecException(
                "the data is too large for a stream without random access: at "
                "most " +
                std::to_string(MaximumSize) + " bytes can be read");
        }
        m_bytes.insert(m_bytes.end(), piece.begin(), piece.end());
    }
    m_size = m_bytes.size();
}

}  // namespace Raster
