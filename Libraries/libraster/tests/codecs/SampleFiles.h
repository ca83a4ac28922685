// Small picture files of every kind, made in memory by the codecs' own libraries.

#pragma once

#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Raster/PixelFormat.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Raster::Testing {

struct SampleFile {
    std::string name;
    Format format;                // of the bitmap that holds it without loss
    int colourType;               // the smallest lossless colour type of PNG for the RGBA picture
    std::string bytes{};          // of the file
    std::vector<int> expected{};  // RGBA
    int loss = 0;                 // how much decoded samples may be off
};

inline constexpr int SampleWidth = 13;
inline constexpr int SampleHeight = 19;  // more rows than are transposed at a time

/// All of SampleWidth x SampleHeight.
const std::vector<SampleFile>& GetSampleFiles();
/// The bytes of the one with that name.
const std::string& GetSample(std::string_view name);

/// The samples of a PNG file by libpng alone, in the byte order of this machine.
std::vector<std::byte> ReadSamplesByLibpng(std::span<const std::byte> file);

/// Those of one kind, each appended to `files`.
void AppendTIFFs(std::vector<SampleFile>& files);
void AppendWebPs(std::vector<SampleFile>& files);

/// A grey gradient of the sample's size, without alpha: `bits` a sample; of 3 or more `colours`,
/// the first in all of them. JPEG is stored as YCbCr.
SampleFile MakeTIFF(int compression, int bits, int colours);

/// Which of PNG's colour types those pixels need.
int FindColourType(const std::vector<int>& rgba);

/// A chunk of a WebP file, whose name has four letters, and a file of chunks.
std::string MakeWebPChunk(const std::string& name, const std::string& data);
std::string MakeWebP(const std::string& chunks);
/// The WebP sample `file` with further chunks around its pixels, and flags that tell of them.
std::string ExtendWebP(const std::string& file, const std::string& before, const std::string& after,
                       char flags);

/// Reads few bytes at a time, and throws if more than `capacity` bytes are read or written.
class FrailStream : public Kernel::MemoryInOutStream {
public:
    explicit FrailStream(const std::string& file, std::size_t capacity = std::size_t{1} << 30)
        : m_capacity(capacity) {
        MemoryInOutStream::Write(std::as_bytes(std::span(file)));
    }
    std::size_t Read(std::span<std::byte> buffer) override {
        Check(GetPosition() + std::min<std::size_t>(buffer.size(), 3));
        return MemoryInOutStream::Read(buffer.first(std::min<std::size_t>(buffer.size(), 3)));
    }
    void Write(std::span<const std::byte> bytes) override {
        Check(GetSize() + bytes.size());
        MemoryInOutStream::Write(bytes);
    }

private:
    void Check(std::uint64_t size) const {
        if (size > m_capacity) {
            throw Kernel::IoException("the disk is on fire");
        }
    }

    std::size_t m_capacity;
};

}  // namespace Raster::Testing
