#include "formats/DirectConversions.h"

#include "formats/HostFormats.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/DirectConversions.cpp"
#include "formats/Highway.h"
#include "formats/PixelCodecs.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// One integer format to another through components that never leave the registers.
template <class From, class To>
struct ConvertPixels {
    static constexpr std::size_t SourceSize = From::PixelSize;
    static constexpr std::size_t DestinationSize = To::PixelSize;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        To::template Save<Store>(From::Load(from), to);
    }
};

using WideTag = hn::ScalableTag<std::uint16_t>;
using NarrowTag = hn::Rebind<std::uint8_t, WideTag>;

/// x / 255 * 65535 is 257 x.
struct WidenComponents {
    static constexpr std::size_t SourceSize = 4;
    static constexpr std::size_t DestinationSize = 8;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(from);
        auto* const wide = reinterpret_cast<std::uint16_t*>(to);
        for (std::size_t i = 0; i < 4 * LaneCount; i += hn::Lanes(WideTag())) {
            const auto x = hn::PromoteTo(WideTag(), hn::LoadU(NarrowTag(), bytes + i));
            Store::Put(hn::Or(x, hn::ShiftLeft<8>(x)), WideTag(), wide + i);
        }
    }
};

/// (x + 128) / 257 cut off, which is x / 65535 * 255 rounded for each of the 65536 values: 65281 /
/// 2^24 stands for 1 / 257.
struct NarrowComponents {
    static constexpr std::size_t SourceSize = 8;
    static constexpr std::size_t DestinationSize = 4;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        const auto* const wide = reinterpret_cast<const std::uint16_t*>(from);
        auto* const bytes = reinterpret_cast<std::uint8_t*>(to);
        for (std::size_t i = 0; i < 4 * LaneCount; i += hn::Lanes(WideTag())) {
            const auto x = hn::SaturatedAdd(hn::LoadU(WideTag(), wide + i),
                                            hn::Set(WideTag(), std::uint16_t{128}));
            const auto quotient =
                hn::ShiftRight<8>(hn::MulHigh(x, hn::Set(WideTag(), std::uint16_t{65281})));
            const auto narrow =
                hn::DemoteTo(NarrowTag(), hn::BitCast(hn::RebindToSigned<WideTag>(), quotient));
            Store::Put(narrow, NarrowTag(), bytes + i);
        }
    }
};

struct TakeAlpha {
    static constexpr std::size_t SourceSize = 4;
    static constexpr std::size_t DestinationSize = 1;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        StoreWords<std::uint8_t, Store>(hn::ShiftRight<24>(LoadWords<std::uint32_t>(from)), to);
    }
};

// Rows of a tile lie a whole row of the picture apart, which the processor does not foresee when it
// fetches ahead.
constexpr std::size_t RowsAhead = 8;
// Keeps the alignment of the destination, whatever the size of a pixel.
constexpr std::size_t PixelsAtOnce = 64;

/// Calls `convert` with pieces of the rows of a block, in which pixels have the sizes given.
template <class Convert>
HWY_INLINE void ForPieces(const SourceBlock& source, const DestinationBlock& destination,
                          std::size_t sourceSize, std::size_t destinationSize, std::size_t width,
                          std::size_t height, Convert convert) {
    for (std::size_t y = 0; y < height; ++y) {
        const std::byte* from = source.pixels + static_cast<std::ptrdiff_t>(y) * source.stride;
        std::byte* to = destination.pixels + static_cast<std::ptrdiff_t>(y) * destination.stride;
        const std::ptrdiff_t ahead =
            static_cast<std::ptrdiff_t>(std::min(RowsAhead, height - 1 - y)) * source.stride;
        for (std::size_t x = 0; x < width; x += PixelsAtOnce) {
            for (std::size_t i = 0; i < PixelsAtOnce * sourceSize; i += 64) {
                hwy::Prefetch(from + ahead + i);
            }
            convert(from, to, std::min(PixelsAtOnce, width - x));
            from += PixelsAtOnce * sourceSize;
            to += PixelsAtOnce * destinationSize;
        }
    }
}

/// Whether to write around the cache.
HWY_INLINE bool IsStreamed(const DestinationBlock& destination, bool isLarge) {
    return isLarge && reinterpret_cast<std::uintptr_t>(destination.pixels) % 64 == 0 &&
           destination.stride % 64 == 0;
}

template <class Kernel, class Store>
HWY_INLINE void ConvertPieces(const SourceBlock& source, const DestinationBlock& destination,
                              std::size_t width, std::size_t height) {
    ForPieces(source, destination, Kernel::SourceSize, Kernel::DestinationSize, width, height,
              [](const std::byte* from, std::byte* to, std::size_t count)
                  HWY_ATTR { ConvertRow<Kernel, Store>(from, to, count); });
}

template <class Kernel>
HWY_INLINE void ConvertBlock(const SourceBlock& source, const DestinationBlock& destination,
                             std::size_t width, std::size_t height, bool isLarge) {
    if (IsStreamed(destination, isLarge)) {
        ConvertPieces<Kernel, Streamed>(source, destination, width, height);
        hwy::FlushStream();
    } else {
        ConvertPieces<Kernel, Cached>(source, destination, width, height);
    }
}

template <class Store>
HWY_INLINE void CopyPieces(const SourceBlock& source, const DestinationBlock& destination,
                           std::size_t rowSize, std::size_t height) {
    ForPieces(source, destination, 1, 1, rowSize, height,
              [](const std::byte* from, std::byte* to, std::size_t count) HWY_ATTR {
                  const hn::ScalableTag<std::uint64_t> tag;
                  const std::size_t step = hn::Lanes(tag) * 8;
                  std::size_t done = 0;
                  for (; done + step <= count; done += step) {
                      Store::Put(
                          hn::LoadU(tag, reinterpret_cast<const std::uint64_t*>(from + done)), tag,
                          reinterpret_cast<std::uint64_t*>(to + done));
                  }
                  std::memcpy(to + done, from + done, count - done);
              });
}

void CopyBlock(const SourceBlock& source, const DestinationBlock& destination, std::size_t rowSize,
               std::size_t height, bool isLarge) {
    if (IsStreamed(destination, isLarge)) {
        CopyPieces<Streamed>(source, destination, rowSize, height);
        hwy::FlushStream();
    } else {
        CopyPieces<Cached>(source, destination, rowSize, height);
    }
}

// The kernels by name, since Highway exports functions by name.
#define RASTER_BLOCK(NAME, ...)                                                                  \
    void NAME(const SourceBlock& source, const DestinationBlock& destination, std::size_t width, \
              std::size_t height, bool isLarge) {                                                \
        ConvertBlock<__VA_ARGS__>(source, destination, width, height, isLarge);                  \
    }
RASTER_BLOCK(RGBA16ToRGBA8, NarrowComponents)
RASTER_BLOCK(RGBAFToRGBA8, ConvertComponents<float, std::uint8_t>)
RASTER_BLOCK(GreyA8ToRGBA8, ConvertPixels<GreyA8Codec, RGBA8Codec>)
RASTER_BLOCK(CMYKA8ToRGBA8, ConvertPixels<CMYKA8Codec, RGBA8Codec>)
RASTER_BLOCK(RGBA8ToRGBA16, WidenComponents)
RASTER_BLOCK(RGBA8ToRGBAF, ConvertComponents<std::uint8_t, float>)
RASTER_BLOCK(RGBA8ToGreyA8, ConvertPixels<RGBA8Codec, GreyA8Codec>)
RASTER_BLOCK(RGBA8ToCMYKA8, ConvertPixels<RGBA8Codec, CMYKA8Codec>)
RASTER_BLOCK(RGBA8ToAlpha8, TakeAlpha)
#undef RASTER_BLOCK

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

#define RASTER_DISPATCH_BLOCK(NAME)                                                  \
    RASTER_DISPATCH(NAME,                                                            \
                    (const SourceBlock& source, const DestinationBlock& destination, \
                     std::size_t width, std::size_t height, bool isLarge),           \
                    (source, destination, width, height, isLarge))
RASTER_DISPATCH_BLOCK(CopyBlock)
namespace {
RASTER_DISPATCH_BLOCK(RGBA16ToRGBA8)
RASTER_DISPATCH_BLOCK(RGBAFToRGBA8)
RASTER_DISPATCH_BLOCK(GreyA8ToRGBA8)
RASTER_DISPATCH_BLOCK(CMYKA8ToRGBA8)
RASTER_DISPATCH_BLOCK(RGBA8ToRGBA16)
RASTER_DISPATCH_BLOCK(RGBA8ToRGBAF)
RASTER_DISPATCH_BLOCK(RGBA8ToGreyA8)
RASTER_DISPATCH_BLOCK(RGBA8ToCMYKA8)
RASTER_DISPATCH_BLOCK(RGBA8ToAlpha8)
}  // namespace
#undef RASTER_DISPATCH_BLOCK

constinit const DirectConversion IntoRGBA8[] = {{&RGBA16Format, RGBA16ToRGBA8},
                                                {&RGBAFFormat, RGBAFToRGBA8},
                                                {&GreyA8Format, GreyA8ToRGBA8},
                                                {&CMYKA8Format, CMYKA8ToRGBA8}};
constinit const DirectConversion IntoRGBA16[] = {{&RGBA8Format, RGBA8ToRGBA16}};
constinit const DirectConversion IntoRGBAF[] = {{&RGBA8Format, RGBA8ToRGBAF}};
constinit const DirectConversion IntoGreyA8[] = {{&RGBA8Format, RGBA8ToGreyA8}};
constinit const DirectConversion IntoCMYKA8[] = {{&RGBA8Format, RGBA8ToCMYKA8}};
constinit const DirectConversion IntoAlpha8[] = {{&RGBA8Format, RGBA8ToAlpha8}};

}  // namespace Raster
#endif
