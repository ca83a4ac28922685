// Samples as TIFF files store them, made into pixels.

#pragma once

#include "Raster/PixelFormat.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Raster {

/// What the samples of a picture are.
struct TIFFLayout {
    /// Where a channel of the pixels comes from.
    struct Channel {
        std::size_t plane = 0;   // 0 if all samples are interleaved
        std::size_t sample = 0;  // of its plane's pixels
    };

    Format format = Format::RGBA8;  // of the pixels: GreyA8 or 16, RGBA8 or 16, CMYKA8 or RGBAF
    int bitCount = 8;               // of a sample: 1, 2, 4, 8, 16, or 32 for floats
    std::size_t sampleCount = 1;    // of a pixel in one plane
    std::size_t colourCount = 1;    // of the pixels: 1, 3 or 4
    /// The colours, alpha last.
    std::array<Channel, 5> channels{};
    bool hasAlpha = false;
    bool isPremultiplied = false;
    bool isInverted = false;  // 0 is white
    /// The RGB of each value of the first channel; empty if that is no index.
    std::vector<std::array<std::uint8_t, 3>> palette;
};

/// Makes pixels of the samples of one row, or of a tile's part of it.
class TIFFSamples {
public:
    explicit TIFFSamples(TIFFLayout layout) : m_layout(std::move(layout)) {}

    const TIFFLayout& GetLayout() const noexcept { return m_layout; }
    /// How many of `planes` below are used.
    std::size_t GetPlaneCount() const noexcept;

    /// Makes `count` pixels of the layout's format. Samples of 16 and 32 bits are in the machine's
    /// byte order, smaller ones packed from the highest bit of each byte.
    void Compose(const std::array<const std::byte*, 5>& planes, std::size_t count,
                 std::byte* pixels);

private:
    using Planes = std::array<const std::byte*, 5>;

    Planes Unpack(const Planes& planes, std::size_t count);
    template <class Sample>
    void ComposeAs(const Planes& planes, std::size_t count, std::byte* pixels) const;
    void LookUp(const Planes& planes, std::size_t count, std::byte* pixels) const;

    TIFFLayout m_layout;
    std::array<std::vector<std::byte>, 5> m_unpacked;  // one sample a byte, for each plane
    std::vector<std::byte> m_inks;                     // of 16 bits
};

}  // namespace Raster
