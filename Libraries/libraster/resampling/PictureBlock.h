// The part of a source that a few destination pixels need, premultiplied and halved.

#pragma once

#include "spans/TileRows.h"

#include <array>
#include <vector>

namespace Raster {

/// A parallelogram in the halved source, and how far beyond it pixels are needed. Points beyond the
/// source are moved to its edge first; `tapsX` and `tapsY` are how far beyond those taps may lie.
struct BlockArea {
    struct Corner {
        double x;
        double y;
    };
    std::array<Corner, 4> corners;  // in order
    double reachX;
    double reachY;
    double tapsX;
    double tapsY;
};

/// Rows of a source whose axes were halved a number of times, as means of pixels. Those at its
/// right and lower edge are of fewer pixels, if it does not divide.
class PictureBlock {
public:
    PictureBlock(const SpanSource& source, int halvingsX, int halvingsY);

    /// The size of the halved source.
    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }
    /// The part of the last pixel in a row or column that the source fills, above 0 to 1.
    float GetLastShareX() const noexcept { return m_lastShareX; }
    float GetLastShareY() const noexcept { return m_lastShareY; }

    /// Loads the pixels of an area. What At() gives beyond them, or beyond the source, has no
    /// meaning. `isRagged`: rows only have memory for what is needed of them.
    void Load(const BlockArea& area, bool isRagged);

    /// The part of the source that has memory, if it is not ragged.
    const Rect& GetRect() const noexcept { return m_rect; }
    std::ptrdiff_t GetStride() const noexcept { return m_stride; }
    const float* At(int x, int y) const noexcept {
        return m_pixels.data()->rgba + m_starts[static_cast<std::size_t>(y - m_rect.top)] +
               std::ptrdiff_t{x} * 4;
    }

private:
    struct Span {
        int begin;
        int end;
    };

    Span FindNeeded(const BlockArea& area, int y) const noexcept;
    void Arrange(const BlockArea& area, bool isRagged);
    void LoadRow(int y, Span needed);
    void LoadHalvedRow(int y, Span needed);

    const SpanSource& m_source;
    int m_halvingsX;
    int m_halvingsY;
    int m_width;
    int m_height;
    float m_lastShareX;
    float m_lastShareY;
    Rect m_rect;
    std::ptrdiff_t m_stride = 0;
    std::vector<Span> m_spans;
    std::vector<std::ptrdiff_t> m_starts;  // of column 0, which may lie outside the memory
    std::vector<RowBuffer> m_pixels;
};

}  // namespace Raster
