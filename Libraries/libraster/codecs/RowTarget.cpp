#include "codecs/RowTarget.h"

#include <cstring>
#include <utility>

namespace Raster {

namespace {

// As many rows at a time as fill a cache line where rows become columns.
constexpr int BandHeight = 16;

struct Band {
    const std::byte* pixels;
    std::size_t stride;
    std::size_t pixelSize;
    int width;
    int height;
};

/// `PixelSize` is the band's, or 0 where the compiler does not know it.
template <std::size_t PixelSize>
void Scatter(const Band& band, std::byte* target, std::ptrdiff_t columnStep,
             std::ptrdiff_t rowStep) {
    const std::size_t pixelSize = PixelSize != 0 ? PixelSize : band.pixelSize;
    for (int x = 0; x < band.width; ++x, target += columnStep) {
        const std::byte* source = band.pixels + static_cast<std::size_t>(x) * pixelSize;
        for (int y = 0; y < band.height; ++y, source += band.stride) {
            std::memcpy(target + y * rowStep, source, pixelSize);
        }
    }
}

using Scatterer = void (*)(const Band&, std::byte*, std::ptrdiff_t, std::ptrdiff_t);

/// There is one for each size that pixels of the library's own formats have, and one for others.
Scatterer GetScatterer(std::size_t pixelSize) noexcept {
    switch (pixelSize) {
        case 1:
            return Scatter<1>;
        case 2:
            return Scatter<2>;
        case 4:
            return Scatter<4>;
        case 5:
            return Scatter<5>;
        case 8:
            return Scatter<8>;
        case 16:
            return Scatter<16>;
        default:
            return Scatter<0>;
    }
}

}  // namespace

RowTarget::RowTarget(const PixelView& pixels, const Orientation& orientation,
                     RowConverter converter)
    : m_converter(std::move(converter)),
      m_width(orientation.isTransposed ? pixels.height : pixels.width),
      m_height(orientation.isTransposed ? pixels.width : pixels.height),
      m_columnStep(static_cast<std::ptrdiff_t>(pixels.format->GetPixelSize())),
      m_rowStep(pixels.stride),
      m_origin(pixels.At(orientation.isMirroredInX ? pixels.width - 1 : 0,
                         orientation.isMirroredInY ? pixels.height - 1 : 0)) {
    m_columnStep = orientation.isMirroredInX ? -m_columnStep : m_columnStep;
    m_rowStep = orientation.isMirroredInY ? -m_rowStep : m_rowStep;
    if (orientation.isTransposed) {
        std::swap(m_columnStep, m_rowStep);
    }
    const std::size_t pixelSize = pixels.format->GetPixelSize();
    m_isRowWise =
        m_columnStep == static_cast<std::ptrdiff_t>(pixelSize) && !orientation.isTransposed;
    const auto width = static_cast<std::size_t>(m_width);
    if (!IsDirect()) {
        m_row.resize(width * m_converter.GetSourceFormat().GetPixelSize());
    }
    if (!m_isRowWise) {
        // The odd cache line keeps the rows of a band out of each other's sets.
        m_bandStride = (width * pixelSize / 128) * 128 + 192;
        m_band.resize(m_bandStride * BandHeight);
    }
}

std::byte* RowTarget::GetRow(int y) noexcept {
    return IsDirect() ? GetStart(y) : m_row.data();
}

void RowTarget::FinishRow(int y) {
    if (IsDirect()) {
        return;
    }
    const auto width = static_cast<std::size_t>(m_width);
    if (m_isRowWise) {
        m_converter.Convert(m_row.data(), GetStart(y), width);
        return;
    }
    const int line = y % BandHeight;
    m_converter.Convert(m_row.data(), m_band.data() + static_cast<std::size_t>(line) * m_bandStride,
                        width);
    if (line == BandHeight - 1 || y == m_height - 1) {
        PlaceBand(y - line, line + 1);
    }
}

void RowTarget::PlaceBand(int first, int count) {
    const std::size_t pixelSize = m_converter.GetTargetFormat().GetPixelSize();
    const Scatterer scatter = GetScatterer(pixelSize);
    scatter({m_band.data(), m_bandStride, pixelSize, m_width, count}, GetStart(first), m_columnStep,
            m_rowStep);
}

}  // namespace Raster
