// Mutations of PNG files that get past the check sums of chunks and of compressed data.

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size,
                                        std::size_t maximumSize);

namespace {

constexpr std::size_t SignatureSize = 8;
constexpr std::size_t FrameSize = 12;  // of a chunk: length, type and check sum

std::size_t GetNumber(std::string_view bytes) {
    std::size_t number = 0;
    for (const char byte : bytes.substr(0, 4)) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

std::string MakeNumber(std::size_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 0xFF);
    }
    return bytes;
}

/// A type and data, framed.
std::string MakeChunk(std::string_view content) {
    const auto* bytes = reinterpret_cast<const Bytef*>(content.data());
    return MakeNumber(content.size() - 4) + std::string(content) +
           MakeNumber(crc32(0, bytes, static_cast<uInt>(content.size())));
}

/// The types and data of the chunks, the last one cut to what there is.
std::vector<std::string> Split(std::string_view file) {
    std::vector<std::string> chunks;
    for (file.remove_prefix(std::min(SignatureSize, file.size())); file.size() >= FrameSize;) {
        const std::size_t size = std::min(GetNumber(file), file.size() - FrameSize);
        chunks.emplace_back(file.substr(4, 4 + size));
        file.remove_prefix(size + FrameSize);
    }
    return chunks;
}

std::string Inflate(const std::string& data) {
    std::string rows(std::size_t{1} << 16, '\0');
    z_stream stream{};
    inflateInit(&stream);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(rows.data());
    stream.avail_out = static_cast<uInt>(rows.size());
    inflate(&stream, Z_FINISH);
    rows.resize(stream.total_out);
    inflateEnd(&stream);
    return rows;
}

std::string Deflate(const std::string& rows, int level) {
    uLongf size = compressBound(rows.size());
    std::string data(size, '\0');
    compress2(reinterpret_cast<Bytef*>(data.data()), &size,
              reinterpret_cast<const Bytef*>(rows.data()), rows.size(), level);
    data.resize(size);
    return data;
}

std::string Mutate(std::string bytes) {
    const std::size_t size = bytes.size();
    bytes.resize(size + 64);
    bytes.resize(
        LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
    return bytes;
}

/// With the filtered rows changed, compressed anew and split in two.
std::vector<std::string> MutateRows(const std::vector<std::string>& chunks, unsigned seed) {
    std::vector<std::string> changed;
    std::string data;
    std::size_t place = 0;
    for (const std::string& chunk : chunks) {
        if (chunk.starts_with("IDAT")) {
            data += chunk.substr(4);
            place = place == 0 ? changed.size() : place;
        } else {
            changed.push_back(chunk);
        }
    }
    const std::string packed = Deflate(Mutate(Inflate(data)), static_cast<int>(seed % 10));
    const std::size_t middle = seed / 10 % (packed.size() + 1);
    const auto position = changed.begin() + static_cast<std::ptrdiff_t>(place);
    changed.insert(position, {"IDAT" + packed.substr(0, middle), "IDAT" + packed.substr(middle)});
    return changed;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maximumSize, unsigned seed) {
    if (size < SignatureSize || seed % 16 == 0) {
        return LLVMFuzzerMutate(data, size, maximumSize);
    }
    const std::string signature(reinterpret_cast<const char*>(data), SignatureSize);
    std::string file(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> chunks =
        seed % 2 == 0 ? Split(Mutate(file)) : MutateRows(Split(file), seed / 16);
    file = signature;
    for (const std::string& chunk : chunks) {
        file += MakeChunk(chunk);
    }
    file.resize(std::min(file.size(), maximumSize));
    std::memcpy(data, file.data(), file.size());
    return file.size();
}
