// The filters of PNG's rows (PNG standard, clause 9).

#pragma once

#include <cstddef>
#include <cstdint>

namespace Raster {

/// The filter type "up": the difference of each byte from that above it.
inline constexpr std::byte FilterTypeUp{2};
void FilterUp(const std::byte* row, const std::byte* above, std::byte* filtered, std::size_t size);

/// The last filter type.
inline constexpr std::uint8_t LastFilterType = 4;
/// What `filtered` and `row` have behind their end, for vectors.
inline constexpr std::size_t FilterPadding = 8;
/// Undoes a filter: `type` is at most LastFilterType, and `pixelSize` one of 1, 2, 3, 4, 6, 8.
void Unfilter(std::uint8_t type, const std::byte* filtered, const std::byte* above, std::byte* row,
              std::size_t size, std::size_t pixelSize);

/// Exchanges the two bytes of `count` samples. The rows may be the same.
void SwapSampleBytes(const std::byte* source, std::byte* target, std::size_t count);

}  // namespace Raster
