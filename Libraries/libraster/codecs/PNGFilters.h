// The filters of PNG's rows (PNG standard, clause 9).

#pragma once

#include <cstddef>

namespace Raster {

/// The filter type "up": the difference of each byte from that above it.
inline constexpr std::byte FilterTypeUp{2};
void FilterUp(const std::byte* row, const std::byte* above, std::byte* filtered, std::size_t size);

/// Exchanges the two bytes of `count` samples. The rows may be the same.
void SwapSampleBytes(const std::byte* source, std::byte* target, std::size_t count);

}  // namespace Raster
