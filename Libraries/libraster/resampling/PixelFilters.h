// The inner loops of resampling, over rows of unit-float RGBA.

#pragma once

#include "resampling/FilterTaps.h"

namespace Raster {

// Rows may start anywhere, but all but Premultiply() and Unpremultiply() read and write them up to
// a multiple of RowPadding pixels.
inline constexpr std::size_t RowPadding = 16;

/// Has `size` bytes fetched into the cache, for a use that comes soon.
void FetchAhead(const std::byte* bytes, std::size_t size) noexcept;

/// Multiplies colours by alpha.
void Premultiply(float* rgba, std::size_t count) noexcept;

/// The way back. An alpha that rounding alone keeps from 1 becomes 1; one outside 0..1, as filters
/// make, becomes the next of the two.
void Unpremultiply(float* rgba, std::size_t count) noexcept;

/// The sum of `count` rows of `width` pixels, each times its weight.
void SumRows(const float* const* rows, const float* weights, std::size_t count, float* sum,
             std::size_t width) noexcept;

/// Adds a row, times `weight`.
void AddRow(const float* row, float weight, float* sum, std::size_t width) noexcept;

/// Makes `width` pixels from the row of pixels that starts with number `left`. The count of `taps`
/// is a multiple of four.
void FilterRow(const float* row, int left, const Taps& taps, float* rgba,
               std::size_t width) noexcept;

/// A pixel that comes from several rows.
struct FilterPoint {
    const float* pixels;  // the first tap of the first row
    alignas(32) float columnWeights[8];
    float rowWeights[8];
};

/// Makes four pixels, each from `rowCount` times `columnCount` pixels, whose rows are `stride`
/// floats apart. The number of columns is 4 or 8.
void FilterPoints(const FilterPoint* points, std::size_t stride, std::size_t rowCount,
                  std::size_t columnCount, float* rgba) noexcept;

}  // namespace Raster
