#include "Network/DataSource.h"

#include <algorithm>

namespace Network {

namespace {

std::size_t CopyFrom(std::span<const std::byte> bytes, std::uint64_t position,
                     std::span<std::byte> buffer) {
    if (position >= bytes.size()) {
        return 0;
    }
    const auto rest = bytes.subspan(static_cast<std::size_t>(position));
    const std::size_t count = std::min(rest.size(), buffer.size());
    std::copy_n(rest.begin(), count, buffer.begin());
    return count;
}

}  // namespace

std::size_t NullDataSource::Read(std::uint64_t /*position*/,
                                 std::span<std::byte> /*buffer*/) const {
    return 0;
}

std::size_t Utf8DataSource::Read(std::uint64_t position, std::span<std::byte> buffer) const {
    return CopyFrom(std::as_bytes(std::span(m_text.data(), m_text.size())), position, buffer);
}

std::size_t BinaryDataSource::Read(std::uint64_t position, std::span<std::byte> buffer) const {
    return CopyFrom(m_bytes, position, buffer);
}

}  // namespace Network
