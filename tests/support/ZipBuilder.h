// ZIP archives made byte by byte, so that their headers can be wrong.

#pragma once

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Support {

struct ZipEntry {
    std::string name;
    std::string bytes = {};  // as the archive holds them
    std::uint32_t unixMode = 0;
    std::uint16_t method = 0;  // 0: stored, 8: deflated
    std::uint16_t flags = 0;   // 1: encrypted, 0x800: the name is UTF-8
    // What the archive declares, where that differs from the stored bytes.
    std::optional<std::uint64_t> size = {};
    std::optional<std::uint32_t> checksum = {};
    std::optional<std::uint32_t> location = {};  // of the bytes of an earlier entry
};

/// The CRC-32 of the ZIP format.
inline std::uint32_t GetChecksum(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

/// `number` in `size` bytes, the lowest first.
inline std::string ToBytes(std::uint64_t number, int size) {
    std::string bytes;
    for (; size > 0; --size, number >>= 8) {
        bytes += static_cast<char>(number & 0xFF);
    }
    return bytes;
}

/// The fields that the local and the central header share, from the version to the size of the
/// name.
inline std::string FormatCommonFields(const ZipEntry& entry) {
    const std::uint64_t size = entry.size.value_or(entry.bytes.size());
    return ToBytes(20, 2) + ToBytes(entry.flags, 2) + ToBytes(entry.method, 2) + ToBytes(0, 4) +
           ToBytes(entry.checksum ? *entry.checksum : GetChecksum(entry.bytes), 4) +
           ToBytes(entry.bytes.size(), 4) + ToBytes(std::min(size, std::uint64_t{0xFFFFFFFF}), 4) +
           ToBytes(entry.name.size(), 2);
}

inline std::string MakeZip(const std::vector<ZipEntry>& entries) {
    std::string zip;
    std::string directory;
    for (const ZipEntry& entry : entries) {
        const bool isLarge = entry.size.value_or(0) >= 0xFFFFFFFF;
        const std::string extra =
            isLarge ? ToBytes(1, 2) + ToBytes(8, 2) + ToBytes(*entry.size, 8) : "";
        directory += "PK\1\2" + ToBytes(0x0314, 2) + FormatCommonFields(entry) +
                     ToBytes(extra.size(), 2) + ToBytes(0, 6) +
                     ToBytes(std::uint64_t{entry.unixMode} << 16, 4) +
                     ToBytes(entry.location.value_or(zip.size()), 4) + entry.name + extra;
        if (!entry.location) {
            zip += "PK\3\4" + FormatCommonFields(entry) + ToBytes(extra.size(), 2) + entry.name +
                   extra + entry.bytes;
        }
    }
    return zip + directory + "PK\5\6" + ToBytes(0, 4) + ToBytes(entries.size(), 2) +
           ToBytes(entries.size(), 2) + ToBytes(directory.size(), 4) + ToBytes(zip.size(), 4) +
           ToBytes(0, 2);
}

}  // namespace Support
