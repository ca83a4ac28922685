#include "Raster/Buffer.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace Raster {

namespace {

std::size_t CountPixels(int width, int height) {
    if (width < 0 || height < 0) {
        throw std::invalid_argument("Buffer: the size is negative");
    }
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

/// As for bitmaps, pages of zeros that are mapped lazily: clearing a large buffer would take longer
/// than an abort may.
template <class PixelType>
PixelType* AllocatePixels(std::size_t count) {
    constexpr std::size_t AddressSpace = std::size_t{1} << 47;  // that any of our systems has
    void* const memory = count < AddressSpace / sizeof(PixelType)
                             ? std::calloc(std::max<std::size_t>(count, 1), sizeof(PixelType))
                             : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<PixelType*>(memory);
}

}  // namespace

template <class C1, class C2, class C3, class C4, class C5>
Buffer<C1, C2, C3, C4, C5>::Buffer(int width, int height)
    : m_width(width),
      m_height(height),
      m_count(CountPixels(width, height)),
      m_pixels(AllocatePixels<PixelType>(m_count), &std::free) {}

template <class C1, class C2, class C3, class C4, class C5>
Kernel::Counted<Buffer<C1, C2, C3, C4, C5>> Buffer<C1, C2, C3, C4, C5>::CreateFromBitmap(
    const DynamicBitmap& bitmap, bool* abort) {
    const ConstPixelAccessor accessor(bitmap, abort);
    Kernel::Counted<Buffer> buffer =
        Kernel::MakeCounted<Buffer>(bitmap.GetWidth(), bitmap.GetHeight());
    const ViewSource source(accessor.GetView());
    ViewTarget target(buffer->GetHostView());
    const Rendering plain;
    RunHostPath({&source, &target, nullptr, &plain, abort}, bitmap.GetBounds());
    return IsAborted(abort) ? nullptr : buffer;
}

template <class C1, class C2, class C3, class C4, class C5>
std::span<Pixel<C1, C2, C3, C4, C5>> Buffer<C1, C2, C3, C4, C5>::GetRow(int y) noexcept {
    const auto width = static_cast<std::size_t>(m_width);
    return GetPixels().subspan(static_cast<std::size_t>(y) * width, width);
}

template <class C1, class C2, class C3, class C4, class C5>
std::span<const Pixel<C1, C2, C3, C4, C5>> Buffer<C1, C2, C3, C4, C5>::GetRow(
    int y) const noexcept {
    const auto width = static_cast<std::size_t>(m_width);
    return GetPixels().subspan(static_cast<std::size_t>(y) * width, width);
}

template <class C1, class C2, class C3, class C4, class C5>
PixelView Buffer<C1, C2, C3, C4, C5>::GetHostView() noexcept {
    return {std::as_writable_bytes(GetPixels()).data(),
            static_cast<std::ptrdiff_t>(sizeof(PixelType)) * m_width, m_width, m_height,
            &GetPixelFormat()};
}

template <class C1, class C2, class C3, class C4, class C5>
ConstPixelView Buffer<C1, C2, C3, C4, C5>::GetHostView() const noexcept {
    return {std::as_bytes(GetPixels()).data(),
            static_cast<std::ptrdiff_t>(sizeof(PixelType)) * m_width, m_width, m_height,
            &GetPixelFormat()};
}

#define RASTER_FORMAT(NAME, CODE, ...)                                 \
    ORVANTIS_INSTANTIATE(ModelBase<Buffer<__VA_ARGS__>, __VA_ARGS__>); \
    ORVANTIS_INSTANTIATE(Buffer<__VA_ARGS__>);
#include "Raster/HostFormats.inc"

}  // namespace Raster
