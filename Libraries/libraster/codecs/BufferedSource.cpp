#include "codecs/BufferedSource.h"

#include <algorithm>

namespace Raster {

std::span<const std::byte> BufferedSource::PeekStart(std::size_t count) {
    m_end = m_stream.ReadFully(std::span(m_buffer).first(count));
    return std::span(m_buffer).first(m_end);
}

std::span<const std::byte> BufferedSource::TakePiece() {
    const std::span<const std::byte> piece = GetUnread();
    m_next = m_end;
    return piece;
}

std::span<const std::byte> BufferedSource::TakePiece(std::size_t most) {
    const std::span<const std::byte> unread = GetUnread();
    const std::span<const std::byte> piece = unread.first(std::min(unread.size(), most));
    m_next += piece.size();
    return piece;
}

bool BufferedSource::Read(std::span<std::byte> target) {
    while (!target.empty()) {
        const std::span<const std::byte> unread = GetUnread();
        if (unread.empty()) {
            return false;
        }
        const std::size_t count = std::min(target.size(), unread.size());
        std::copy_n(unread.begin(), count, target.begin());
        m_next += count;
        target = target.subspan(count);
    }
    return true;
}

Kernel::SeekableInStream* BufferedSource::FindSeekable() const noexcept {
    return dynamic_cast<Kernel::SeekableInStream*>(&m_stream);
}

std::span<const std::byte> BufferedSource::GetUnread() {
    if (m_next == m_end) {
        m_next = 0;
        m_end = 0;  // before Read(), which may throw
        m_end = m_stream.Read(m_buffer);
    }
    return std::span<const std::byte>(m_buffer).subspan(m_next, m_end - m_next);
}

}  // namespace Raster
