// A picture file that libFuzzer makes up. Compiled once for each kind of file:
// RASTER_IS_FUZZED_KIND is the function that detects it, in RASTER_FUZZED_HEADER.

#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"

#include RASTER_FUZZED_HEADER

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace Raster {

namespace {

constexpr std::int64_t MaximumPixelCount = 1 << 20;  // a larger picture only takes longer

/// Bytes, a few at a time.
class PieceStream final : public Kernel::InStream {
public:
    PieceStream(std::span<const std::byte> bytes, std::size_t pieceSize)
        : m_bytes(bytes), m_pieceSize(pieceSize) {}

    std::size_t Read(std::span<std::byte> buffer) override {
        const std::size_t count = std::min({buffer.size(), m_bytes.size(), m_pieceSize});
        std::copy_n(m_bytes.begin(), count, buffer.begin());
        m_bytes = m_bytes.subspan(count);
        return count;
    }

private:
    std::span<const std::byte> m_bytes;
    std::size_t m_pieceSize;
};

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool IsSmall(const DynamicFile& file) {
    return std::int64_t{file.GetWidth()} * file.GetHeight() <= MaximumPixelCount;
}

/// Whether the pixels can be read into `bitmap`.
bool IsRead(DynamicFile& file, DynamicBitmap& bitmap) {
    const bool isRead = file.ReadPixels(bitmap);
    Require(isRead == file.GetError().empty());
    return isRead;
}

/// A file is read, or refused with a reason, whatever it is converted to.
void ReadTwice(std::span<const std::byte> bytes) {
    // Deliberate: the same both times. How many stray bytes libjpeg finds before a marker, which it
    // then refuses, depends on how much of the file it has at that moment.
    const std::size_t pieceSize = bytes.size() % 8 == 0 ? bytes.size() : bytes.size() % 8;
    PieceStream bytesOnce(bytes, pieceSize);
    PieceStream bytesAgain(bytes, pieceSize);
    DynamicFile first;
    DynamicFile second;
    const bool isOpen = first.CreateFromStream(bytesOnce);
    Require(isOpen == first.GetError().empty());
    Require(isOpen == second.CreateFromStream(bytesAgain));
    if (isOpen && IsSmall(first)) {
        DynamicBitmap own(first.GetWidth(), first.GetHeight(), first.GetFormat());
        DynamicBitmap converted(second.GetWidth(), second.GetHeight());
        converted.SetProfile(ICCManager::GetProfileForString("sRGB IEC61966-2.1"));
        Require(IsRead(first, own) == IsRead(second, converted));
    }
}

}  // namespace

}  // namespace Raster

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = std::as_bytes(std::span(data, size));
    if (Raster::RASTER_IS_FUZZED_KIND(bytes)) {
        Raster::ReadTwice(bytes);
    }
    return 0;
}
