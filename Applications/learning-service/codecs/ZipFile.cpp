#include "codecs/ZipFile.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace Service {

namespace {

constexpr std::array<std::uint32_t, 256> MakeRemainders() {
    std::array<std::uint32_t, 256> remainders{};
    for (std::uint32_t byte = 0; byte < remainders.size(); ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ (remainder % 2 * 0xEDB88320U);
        }
        remainders[byte] = remainder;
    }
    return remainders;
}

/// The CRC-32 of ISO 3309.
std::uint32_t GetCRC(std::string_view bytes) {
    static constexpr std::array<std::uint32_t, 256> Remainders = MakeRemainders();
    std::uint32_t remainder = 0xFFFFFFFF;
    for (const char c : bytes) {
        remainder =
            (remainder >> 8) ^ Remainders[(remainder ^ static_cast<unsigned char>(c)) & 255];
    }
    return ~remainder;
}

void AppendNumber(std::string& bytes, std::size_t number, int size) {
    for (; size > 0; --size, number >>= 8) {
        bytes += static_cast<char>(number & 255);
    }
}

/// What local header and directory entry have in common (APPNOTE 6.3.3, 4.4).
std::string DescribeFile(const std::string& name, const std::string& content) {
    constexpr std::size_t FirstDate = 0x21;  // 1 January 1980
    std::string fields;
    AppendNumber(fields, 20, 2);  // version that is needed
    AppendNumber(fields, 0, 2);   // flags
    AppendNumber(fields, 0, 2);   // stored
    AppendNumber(fields, 0, 2);   // midnight
    AppendNumber(fields, FirstDate, 2);
    AppendNumber(fields, GetCRC(content), 4);
    AppendNumber(fields, content.size(), 4);
    AppendNumber(fields, content.size(), 4);
    AppendNumber(fields, name.size(), 2);
    AppendNumber(fields, 0, 2);  // extra fields
    return fields;
}

}  // namespace

std::string MakeZipFile(const std::vector<std::pair<std::string, std::string>>& files) {
    using namespace std::string_literals;
    std::string archive;
    std::string directory;
    for (const auto& [name, content] : files) {
        const std::string fields = DescribeFile(name, content);
        directory += "PK\x01\x02\x14\0"s + fields;
        AppendNumber(directory, 0, 10);  // comment, disk and attributes
        AppendNumber(directory, archive.size(), 4);
        directory += name;
        archive += "PK\x03\x04"s;
        archive += fields;
        archive += name;
        archive += content;
    }
    const std::size_t start = archive.size();
    archive += directory + "PK\x05\x06"s;
    AppendNumber(archive, 0, 4);  // disks
    AppendNumber(archive, files.size(), 2);
    AppendNumber(archive, files.size(), 2);
    AppendNumber(archive, directory.size(), 4);
    AppendNumber(archive, start, 4);
    AppendNumber(archive, 0, 2);  // comment
    return archive;
}

}  // namespace Service
