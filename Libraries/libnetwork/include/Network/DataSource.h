// Sources of the body of a request.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/String.h"
#include "Network/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Network {

/// Bytes of known number that can be read repeatedly: a transfer may have to send them again.
/// Used by one thread at a time, which may be that of the transfer.
class NETWORK_API DataSource : public Kernel::Countable {
public:
    virtual std::uint64_t GetSize() const = 0;
    /// Copies up to `buffer.size()` bytes from offset `position` on and returns their number; 0
    /// only at the end.
    virtual std::size_t Read(std::uint64_t position, std::span<std::byte> buffer) const = 0;
};

/// An empty body.
class NETWORK_API NullDataSource : public DataSource {
public:
    std::uint64_t GetSize() const override { return 0; }
    std::size_t Read(std::uint64_t position, std::span<std::byte> buffer) const override;
};

/// The bytes of a string, which is shared.
class NETWORK_API Utf8DataSource : public DataSource {
public:
    explicit Utf8DataSource(Kernel::String text) noexcept : m_text(std::move(text)) {}

    std::uint64_t GetSize() const override { return m_text.size(); }
    std::size_t Read(std::uint64_t position, std::span<std::byte> buffer) const override;

private:
    Kernel::String m_text;
};

/// Bytes in memory, which are owned.
class NETWORK_API BinaryDataSource : public DataSource {
public:
    explicit BinaryDataSource(std::vector<std::byte> bytes) noexcept : m_bytes(std::move(bytes)) {}

    std::uint64_t GetSize() const override { return m_bytes.size(); }
    std::size_t Read(std::uint64_t position, std::span<std::byte> buffer) const override;

private:
    std::vector<std::byte> m_bytes;
};

}  // namespace Network
