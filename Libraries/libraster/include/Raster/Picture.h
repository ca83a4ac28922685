// Eight-bit pictures in memory.

#pragma once

#include "Raster/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Raster {

/// Rows of pixels from the top, each pixel four bytes: red, green, blue and alpha, which is not
/// multiplied into the colours. Owns its pixels; it moves but does not copy.
///
/// Threads: distinct rows may be written at the same time.
class RASTER_API Picture {
public:
    static constexpr int ChannelCount = 4;
    static constexpr int MaximumSide = 65535;
    static constexpr std::uint64_t MaximumPixelCount = std::uint64_t{1} << 28;

    /// Whether there can be a picture of this size: no side is 0 or above MaximumSide, and there
    /// are no more pixels than MaximumPixelCount.
    static bool IsSizeSupported(std::uint64_t width, std::uint64_t height) noexcept;

    /// The pixels are not set. Throws std::length_error if the size is not supported.
    Picture(int width, int height);

    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }

    /// The bytes of row `y`, which is not checked: this is called in loops over rows.
    std::span<std::uint8_t> GetRow(int y) noexcept { return {GetStart(y), GetRowSize()}; }
    std::span<const std::uint8_t> GetRow(int y) const noexcept {
        return {GetStart(y), GetRowSize()};
    }

private:
    std::size_t GetRowSize() const noexcept {
        return static_cast<std::size_t>(m_width) * ChannelCount;
    }
    std::uint8_t* GetStart(int y) const noexcept {
        return m_pixels.get() + static_cast<std::size_t>(y) * GetRowSize();
    }

    int m_width;
    int m_height;
    std::unique_ptr<std::uint8_t[]> m_pixels;
};

}  // namespace Raster
