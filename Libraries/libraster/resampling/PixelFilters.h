// The inner loops of resampling, over rows of unit-float RGBA.

#pragma once

#include "Raster/Spans.h"

#include "resampling/FilterTaps.h"
#include "resampling/Footprint.h"

namespace Raster {

class PictureBlock;

// Rows need no alignment, but all but Premultiply() and Unpremultiply() read and write them up to a
// multiple of RowPadding pixels.
inline constexpr std::size_t RowPadding = 16;

/// Prefetches `size` bytes into the cache.
void FetchAhead(const std::byte* bytes, std::size_t size) noexcept;

/// Converts straight to premultiplied alpha.
void Premultiply(float* rgba, std::size_t count) noexcept;

/// Converts premultiplied to straight alpha. An alpha within rounding error of 1 becomes 1; one
/// outside 0..1, the overshoot of a filter, is clamped.
void Unpremultiply(float* rgba, std::size_t count) noexcept;

/// The weighted sum of `count` rows of `width` pixels.
void SumRows(const float* const* rows, const float* weights, std::size_t count, float* sum,
             std::size_t width) noexcept;

/// Adds a row, times `weight`.
void AddRow(const float* row, float weight, float* sum, std::size_t width) noexcept;

/// Filters a row horizontally to `width` pixels; `row` starts at source column `left`. The count of
/// `taps` is a multiple of four. `isGuarded`: taps of weight 0 do not count even if they are not
/// finite.
void FilterRow(const float* row, int left, const Taps& taps, float* rgba, std::size_t width,
               bool isGuarded) noexcept;

/// Whether pixels of a source may be other than finite numbers.
bool MayBeInfinite(const SpanSource& source) noexcept;

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
