// Inflating the zlib format (RFC 1950) by a coder made for speed, where the build has one.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Raster {

/// One stream being inflated.
class QuickInflater {
public:
    virtual ~QuickInflater();

    /// Takes from the start of `input` and returns how many bytes of `output` it has filled: fewer
    /// than all only if all of the input is used up, or the stream has ended. Throws CodecException
    /// if the stream is damaged, or its checksum wrong.
    virtual std::size_t Inflate(std::span<const std::byte>& input, std::span<std::byte> output) = 0;
    /// Whether the stream has ended, with the right checksum.
    virtual bool HasEnded() const noexcept = 0;

    /// The CRC of PNG's chunks (PNG standard, clause 5.5) of bytes whose first part has `crc`; that
    /// of no bytes is 0.
    virtual std::uint32_t AddToCRC(std::uint32_t crc,
                                   std::span<const std::byte> bytes) const noexcept = 0;

protected:
    QuickInflater() = default;
    QuickInflater(const QuickInflater&) = default;
    QuickInflater& operator=(const QuickInflater&) = default;
};

/// Null if the build has no such coder.
std::unique_ptr<QuickInflater> MakeQuickInflater();

}  // namespace Raster
