// Nearest-neighbour resampling.

#pragma once

#include "resampling/Resampler.h"

namespace Raster {

/// Copies the pixel that contains the point unchanged, with hidden colours: straight alpha.
class NearestResampler final : public Resampler {
public:
    NearestResampler(const SpanSource& source, const AffineTransform::Params& inverse) noexcept
        : m_source(source), m_inverse(inverse) {}
    std::unique_ptr<TileRows> OpenTile(const Rect& tile) const override;
    bool CopyTile(const PixelView& target, const Rect& tile) const override;

private:
    const SpanSource& m_source;
    AffineTransform::Params m_inverse;
};

/// Source coordinates of the pixels' centres in a row of a tile, from its left edge.
struct RowPoints {
    static constexpr int Padding = 8;  // for vectors that start at any of them

    double x[TileWidth + Padding] = {};
    double y[TileWidth + Padding] = {};
};

/// Maps the centres of the pixels in row `row` of `tile` to source coordinates.
void MapRow(const AffineTransform::Params& inverse, const Rect& tile, int row,
            RowPoints& points) noexcept;

/// Which of `count` points in a row lie in a source of that size.
ColumnRun FindInside(const RowPoints& points, int count, int width, int height) noexcept;

}  // namespace Raster
