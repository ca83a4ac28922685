// The numbers in the records of ZIP archives, lowest byte first.

#pragma once

#include "Kernel/Format.h"
#include "Kernel/IoException.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Kernel {

using ZipBytes = std::span<const std::byte>;

/// The number in the `size` bytes at `offset`, which `bytes` has.
inline std::uint64_t GetField(ZipBytes bytes, std::size_t offset, std::size_t size) noexcept {
    std::uint64_t number = 0;
    for (std::size_t i = size; i-- > 0;) {
        number = number << 8 | std::to_integer<std::uint64_t>(bytes[offset + i]);
    }
    return number;
}

inline void AppendField(std::vector<std::byte>& bytes, std::uint64_t number, int size) {
    for (; size > 0; --size, number >>= 8) {
        bytes.push_back(static_cast<std::byte>(number & 0xFF));
    }
}

[[noreturn]] inline void ThrowUnreadable(std::string_view reason) {
    throw IoException(Format("cannot read the ZIP archive: %1", reason).c_str());
}

// The signatures of records.
inline constexpr std::uint64_t HeaderSignature = 0x02014b50;  // of an entry, in the directory
inline constexpr std::uint64_t EndSignature = 0x06054b50;
inline constexpr std::uint64_t End64Signature = 0x06064b50;
inline constexpr std::uint64_t LocatorSignature = 0x07064b50;

// The sizes of records without what is of variable size in them.
inline constexpr std::size_t HeaderSize = 46;
inline constexpr std::size_t EndSize = 22;
inline constexpr std::size_t End64Size = 56;
inline constexpr std::size_t LocatorSize = 20;

}  // namespace Kernel
