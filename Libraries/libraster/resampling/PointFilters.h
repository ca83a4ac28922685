// The inner loops of turned resampling: filters around points anywhere in a source.

#pragma once

#include "resampling/Footprint.h"

namespace Raster {

class PictureBlock;

/// Points on a line: start + step * first, start + step * (first + 1) and so on. Up to seven more
/// than `count` are written.
void Interpolate(double start, double step, double first, std::size_t count,
                 double* points) noexcept;

/// Points in a source, in its pixels, and the factors, powers of two, to those of a block. Points
/// beyond the source are moved to its edge.
struct FilterPoints {
    const double* x;
    const double* y;
    std::size_t count;
    double scaleX;
    double scaleY;
};

/// Filters `count` pixels, at most TileWidth, by the separable footprint that `columns` and `rows`
/// are the weights of. Weights are of pixels in the source, and add up to 1.
void FilterByPhases(const PictureBlock& block, const PhaseTable& columns, const PhaseTable& rows,
                    const FilterPoints& points, bool isGuarded, float* rgba) noexcept;
/// The same by any footprint. `kernel` is the table of its kernel; null if it is an image.
void FilterByKernel(const PictureBlock& block, const Footprint& footprint, const float* kernel,
                    const FilterPoints& points, bool isGuarded, float* rgba) noexcept;

}  // namespace Raster
