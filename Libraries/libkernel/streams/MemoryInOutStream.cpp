#include "Kernel/MemoryInOutStream.h"

#include <algorithm>

namespace Kernel {

MemoryInOutStream::MemoryInOutStream(std::vector<std::byte> bytes) noexcept
    : m_bytes(std::move(bytes)) {}

MemoryInOutStream::~MemoryInOutStream() = default;

std::size_t MemoryInOutStream::Read(std::span<std::byte> buffer) {
    if (m_position >= m_bytes.size()) {
        return 0;
    }
    const auto rest = std::span(m_bytes).subspan(static_cast<std::size_t>(m_position));
    const std::size_t count = std::min(buffer.size(), rest.size());
    std::copy_n(rest.begin(), count, buffer.begin());
    m_position += count;
    return count;
}

void MemoryInOutStream::Write(std::span<const std::byte> bytes) {
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

}  // namespace Kernel
