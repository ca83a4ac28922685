// Compressing in deflate's format (RFC 1951) by a coder made for speed, where the build has one.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Raster {

/// Compresses pieces of a stream. Each is coded on its own, so that several deflaters may compress
/// pieces of one stream at the same time.
class QuickDeflater {
public:
    static constexpr int LastLevel = 3;

    virtual ~QuickDeflater();

    /// Sets `target` to a whole number of bytes that continue the stream with `piece`, or end it.
    virtual void Compress(std::span<const std::byte> piece, bool isLast,
                          std::vector<std::byte>& target) = 0;

    /// The Adler-32 checksum (RFC 1950) of bytes whose first part has `checksum`; that of no bytes
    /// is 1.
    virtual std::uint32_t AddToChecksum(std::uint32_t checksum,
                                        std::span<const std::byte> bytes) const noexcept = 0;

protected:
    QuickDeflater() = default;
    QuickDeflater(const QuickDeflater&) = default;
    QuickDeflater& operator=(const QuickDeflater&) = default;
};

/// `level` is 1..QuickDeflater::LastLevel, as in zlib, whose output is rarely smaller. Null if the
/// build has no such coder.
std::unique_ptr<QuickDeflater> MakeQuickDeflater(int level);

}  // namespace Raster
