#include "Server/Content.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Server {

Content::Content(std::string text) : m_size(text.size()) {
    m_text = std::make_shared<const std::string>(std::move(text));
}

Content::Content(std::shared_ptr<const ContentFile> file)
    : m_file(std::move(file)), m_size(m_file->GetSize()) {}

Content Content::Slice(std::uint64_t offset, std::uint64_t count) const {
    Content slice = *this;
    const std::uint64_t start = std::min(offset, m_size);
    slice.m_offset += start;
    slice.m_size = std::min(count, m_size - start);
    return slice;
}

std::size_t Content::Read(std::uint64_t offset, std::span<char> buffer) const {
    const std::uint64_t start = std::min(offset, m_size);
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_size - start));
    if (count == 0) {
        return 0;
    }
    if (m_text) {
        return m_text->copy(buffer.data(), count, static_cast<std::size_t>(m_offset + start));
    }
    const std::size_t got = m_file->Read(m_offset + start, buffer.first(count));
    if (got == 0) {
        throw std::runtime_error("a file became shorter while it was sent");
    }
    return got;
}

}  // namespace Server
