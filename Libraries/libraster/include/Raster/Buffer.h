// Plain pixels of one format in host memory.

#pragma once

#include "Raster/FormatTraits.h"
#include "Raster/ModelBase.h"
#include "Raster/Pipeline.h"
#include "Raster/Pixel.h"
#include "Raster/PixelAccessor.h"

#include <cstddef>
#include <memory>
#include <span>

namespace Raster {

/// Contiguous rows of pixels (no padding), on the host only, for encoders and services. A new
/// buffer is transparent: all samples are zero.
template <class C1, class C2, class C3, class C4, class C5>
class Buffer : public Kernel::Countable,
               public ModelBase<Buffer<C1, C2, C3, C4, C5>, C1, C2, C3, C4, C5> {
public:
    using PixelType = Pixel<C1, C2, C3, C4, C5>;

    /// Throws std::invalid_argument for a negative size, std::bad_alloc for one that can't be
    /// allocated.
    Buffer(int width, int height);

    /// The pixels of `bitmap`, converted; null if `abort` was set meanwhile. Goes through a pixel
    /// accessor: a bitmap that is not loaded yet is loaded here.
    static Kernel::Counted<Buffer> CreateFromBitmap(const DynamicBitmap& bitmap,
                                                    bool* abort = nullptr);

    static const PixelFormat& GetPixelFormat() noexcept {
        return FormatTraits<C1, C2, C3, C4, C5>::GetPixelFormat();
    }
    static Kernel::String GetDescription() {
        return DescribeChannels("Buffer", ChannelFactsOf<C1, C2, C3, C4, C5>);
    }

    int GetWidth(int /*level*/ = 0) const noexcept { return m_width; }
    int GetHeight(int /*level*/ = 0) const noexcept { return m_height; }

    std::span<PixelType> GetPixels() noexcept { return {m_pixels.get(), m_count}; }
    std::span<const PixelType> GetPixels() const noexcept { return {m_pixels.get(), m_count}; }
    /// Row `y`, which is not checked.
    std::span<PixelType> GetRow(int y) noexcept;
    std::span<const PixelType> GetRow(int y) const noexcept;

    PixelView GetHostView() noexcept;
    ConstPixelView GetHostView() const noexcept;

private:
    int m_width;
    int m_height;
    std::size_t m_count;
    std::unique_ptr<PixelType[], void (*)(void*)> m_pixels;
};

// In this order: the base is instantiated with the class itself.
#define RASTER_FORMAT(NAME, CODE, ...)                            \
    RASTER_TEMPLATE(ModelBase<Buffer<__VA_ARGS__>, __VA_ARGS__>); \
    RASTER_TEMPLATE(Buffer<__VA_ARGS__>);
#include "Raster/HostFormats.inc"

}  // namespace Raster
