// Picture files made or changed by hand, and what comes of reading them.

#pragma once

#include "Raster/CodecException.h"
#include "Raster/DynamicFile.h"

#include "tests/codecs/SampleFiles.h"

#include <zlib.h>

#include <cstddef>
#include <string>

namespace Raster::Testing {

using std::string_literals::operator""s;

inline Kernel::Counted<DynamicBitmap> Decode(const std::string& file,
                                             Format format = Format::RGBA8) {
    FrailStream stream(file);
    return ReadPicture(stream, format);
}

inline std::string GetReasonOfRefusal(const std::string& file) {
    try {
        Decode(file);
        return "none";
    } catch (const CodecException& exception) {
        return exception.what();
    }
}

inline bool IsPNG(const std::string& file) {
    return file[0] == '\x89';
}

inline bool IsJPEG(const std::string& file) {
    return file[0] == '\xFF';
}

inline bool IsWebP(const std::string& file) {
    return file[0] == 'R';
}

/// `size` bytes, most significant first.
inline std::string MakeBigEndian(std::size_t value, std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> (8 * (size - 1 - i)) & 0xFF);
    }
    return bytes;
}

/// A chunk without its length.
inline std::string MakeChunk(const std::string& chunk) {
    const auto* data = reinterpret_cast<const Bytef*>(chunk.data());
    return chunk + MakeBigEndian(crc32(0, data, static_cast<uInt>(chunk.size())), 4);
}

/// Inserts a PNG chunk or a JPEG segment before all others but IHDR or SOI.
inline std::string Insert(std::string file, const char* chunk, int segment,
                          const std::string& data) {
    return IsPNG(file) ? file.insert(33, MakeBigEndian(data.size(), 4) + MakeChunk(chunk + data))
                       : file.insert(2, "\xFF"s + static_cast<char>(segment) +
                                            MakeBigEndian(data.size() + 2, 2) + data);
}

}  // namespace Raster::Testing
