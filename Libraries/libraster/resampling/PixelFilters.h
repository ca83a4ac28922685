// The inner loops of upright resampling, over rows of unit-float RGBA.

#pragma once

#include "Raster/Spans.h"

#include "resampling/FilterTaps.h"

namespace Raster {

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

}  // namespace Raster
