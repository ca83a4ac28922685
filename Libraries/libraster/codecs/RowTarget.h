// The target of a decoder's scanlines: converted and oriented into the pixels of a bitmap.

#pragma once

#include "Raster/PixelView.h"

#include "codecs/Orientation.h"
#include "codecs/RowConverter.h"

#include <cstddef>
#include <vector>

namespace Raster {

class RowTarget {
public:
    /// `pixels` have the target format of `converter` and the upright size by `orientation`.
    RowTarget(const PixelView& pixels, const Orientation& orientation, RowConverter converter);

    /// Whether GetRow() points into the bitmap, so that rows keep their content between passes.
    bool IsDirect() const noexcept { return m_converter.IsIdentity() && m_isRowWise; }

    /// The buffer for row `y` of the file, in the file's format.
    std::byte* GetRow(int y) noexcept;
    /// Converts and stores what was written to GetRow(). Unless IsDirect(), rows come once and in
    /// order.
    void FinishRow(int y);

private:
    std::byte* GetStart(int y) const noexcept { return m_origin + y * m_rowStep; }
    void PlaceBand(int first, int count);

    RowConverter m_converter;
    int m_width;  // of the file
    int m_height;
    // From one pixel of the file to the next, in bytes of the bitmap.
    std::ptrdiff_t m_columnStep;
    std::ptrdiff_t m_rowStep;
    std::byte* m_origin;  // of the file's first pixel
    bool m_isRowWise;
    std::vector<std::byte> m_row;   // before the conversion
    std::vector<std::byte> m_band;  // rows before they are transposed or mirrored
    std::size_t m_bandStride = 0;
};

}  // namespace Raster
