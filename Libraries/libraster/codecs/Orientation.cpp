#include "codecs/Orientation.h"

#include <array>
#include <cstdint>

namespace Raster {

namespace {

/// Reads integers of a TIFF file (TIFF 6.0) in its byte order. Reading beyond the end gives 0.
class TiffNumbers {
public:
    explicit TiffNumbers(std::span<const std::byte> bytes) noexcept
        : m_bytes(bytes), m_isLittleEndian(!bytes.empty() && bytes[0] == std::byte{'I'}) {}

    std::uint32_t Get16(std::uint64_t at) const noexcept { return Get(at, 2); }
    std::uint32_t Get32(std::uint64_t at) const noexcept { return Get(at, 4); }

private:
    std::uint32_t Get(std::uint64_t at, std::size_t size) const noexcept {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint64_t index = at + (m_isLittleEndian ? size - 1 - i : i);
            const std::byte digit = index < m_bytes.size() ? m_bytes[index] : std::byte{0};
            value = value << 8 | std::to_integer<std::uint32_t>(digit);
        }
        return value;
    }

    std::span<const std::byte> m_bytes;
    bool m_isLittleEndian;
};

}  // namespace

Orientation MakeOrientation(std::uint32_t number) noexcept {
    constexpr std::array<Orientation, 9> Orientations{{
        {},
        {},
        {false, true, false},
        {false, true, true},
        {false, false, true},
        {true, false, false},
        {true, true, false},
        {true, true, true},
        {true, false, true},
    }};
    return number < Orientations.size() ? Orientations[number] : Orientation{};
}

Orientation FindOrientation(std::span<const std::byte> exif) noexcept {
    constexpr std::uint32_t LittleEndianMark = 0x4949;
    constexpr std::uint32_t BigEndianMark = 0x4D4D;
    constexpr std::uint32_t Magic = 42;
    constexpr std::uint64_t EntrySize = 12;
    constexpr std::uint32_t OrientationTag = 0x0112;
    constexpr std::uint32_t ShortType = 3;

    const TiffNumbers numbers(exif);
    const std::uint32_t mark = numbers.Get16(0);
    if ((mark != LittleEndianMark && mark != BigEndianMark) || numbers.Get16(2) != Magic) {
        return {};
    }
    const std::uint64_t directory = numbers.Get32(4);
    const std::uint64_t end = directory + 2 + numbers.Get16(directory) * EntrySize;
    for (std::uint64_t entry = directory + 2; entry < end; entry += EntrySize) {
        if (numbers.Get16(entry) == OrientationTag && numbers.Get16(entry + 2) == ShortType) {
            return MakeOrientation(numbers.Get16(entry + 8));
        }
    }
    return {};
}

}  // namespace Raster
