#include "codecs/RowTarget.h"

#include "formats/PixelSizes.h"

#include <cstring>
#include <utility>

namespace Raster {

namespace {

// The rows transposed at a time: together their pixels of one column fill a cache line.
constexpr int BandHeight = 16;

struct Band {
    const std::byte* pixels;
    std::size_t stride;
    int width;
    int height;
};

/// Transposes: rows of pixels of `pixelSize` bytes become columns.
template <class Size>
void Scatter(const Band& band, Size pixelSize, std::byte* target, std::ptrdiff_t columnStep,
             std::ptrdiff_t rowStep) {
    for (int x = 0; x < band.width; ++x, target += columnStep) {
        const std::byte* source = band.pixels + static_cast<std::size_t>(x) * pixelSize;
        for (int y = 0; y < band.height; ++y, source += band.stride) {
            std::memcpy(target + y * rowStep, source, pixelSize);
        }
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
        // An odd number of cache lines, so that the rows of a band map to different cache sets.
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
    const Band band{m_band.data(), m_bandStride, m_width, count};
    WithPixelSize(m_converter.GetTargetFormat().GetPixelSize(), [&](auto pixelSize) {
        Scatter(band, pixelSize, GetStart(first), m_columnStep, m_rowStep);
    });
}

}  // namespace Raster
