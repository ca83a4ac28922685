#include "formats/DirectConversions.h"

#include "formats/HostFormatObjects.h"

#include <algorithm>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/DirectConversions.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// One integer format to another through components in registers.
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

/// (x + 128) / 257 truncated, which is x / 65535 * 255 rounded for each of the 65536 values: 65281
/// / 2^24 approximates 1 / 257.
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

/// BT.601 luma; alpha is copied.
struct MixGrey {
    static constexpr std::size_t SourceSize = 4;
    static constexpr std::size_t DestinationSize = 2;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        const Words words = LoadWords<std::uint32_t>(from);
        const Words grey = Quantise<std::uint8_t>(ToGrey(RGBA8Codec::Unpack(words)));
        const Words alpha = hn::ShiftLeft<8>(hn::ShiftRight<24>(words));
        StoreWords<std::uint16_t, Store>(hn::Or(grey, alpha), to);
    }
};

/// For rows of whole words, in any format.
struct CopyWords {
    static constexpr std::size_t SourceSize = 4;
    static constexpr std::size_t DestinationSize = 4;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        StoreWords<std::uint32_t, Store>(LoadWords<std::uint32_t>(from), to);
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

// A multiple that keeps the destination aligned for any pixel size.
constexpr std::size_t PixelsAtOnce = 64;

template <class Kernel, class Store>
HWY_INLINE void ConvertAt(std::size_t x, const std::byte* from, std::byte* to) {
    Kernel::template Run<Store>(from + x * Kernel::SourceSize, to + x * Kernel::DestinationSize);
}

/// PixelsAtOnce pixels. Unrolled, since one vector per iteration leaves memory bandwidth unused.
template <class Kernel, class Store>
HWY_INLINE void ConvertPiece(const std::byte* from, std::byte* to) {
    static_assert(PixelsAtOnce % (LaneCount * 4) == 0);
    for (std::size_t x = 0; x < PixelsAtOnce; x += LaneCount * 4) {
        ConvertAt<Kernel, Store>(x, from, to);
        ConvertAt<Kernel, Store>(x + LaneCount, from, to);
        ConvertAt<Kernel, Store>(x + LaneCount * 2, from, to);
        ConvertAt<Kernel, Store>(x + LaneCount * 3, from, to);
    }
}

template <class Kernel, class Store>
HWY_INLINE void ConvertRows(const SourceBlock& source, const DestinationBlock& destination,
                            std::size_t width, std::size_t height) {
    constexpr std::size_t SourceStep = PixelsAtOnce * Kernel::SourceSize;
    constexpr std::size_t DestinationStep = PixelsAtOnce * Kernel::DestinationSize;
    for (std::size_t y = 0; y < height; ++y) {
        const auto row = static_cast<std::ptrdiff_t>(y);
        const std::byte* from = source.pixels + row * source.stride;
        std::byte* to = destination.pixels + row * destination.stride;
        std::size_t x = 0;
        for (; x + PixelsAtOnce <= width; x += PixelsAtOnce) {
            ConvertPiece<Kernel, Store>(from, to);
            from += SourceStep;
            to += DestinationStep;
        }
        if (x < width) {
            ConvertRow<Kernel, Store>(from, to, width - x);
        }
    }
}

/// Whether to use non-temporal stores, which bypass the cache: they need rows aligned to cache
/// lines.
HWY_INLINE bool IsStreamed(const DestinationBlock& destination, bool isLarge) {
    return isLarge && reinterpret_cast<std::uintptr_t>(destination.pixels) % 64 == 0 &&
           destination.stride % 64 == 0;
}

template <class Kernel>
HWY_INLINE void ConvertBlock(const SourceBlock& source, const DestinationBlock& destination,
                             std::size_t width, std::size_t height, bool isLarge) {
    if (IsStreamed(destination, isLarge)) {
        ConvertRows<Kernel, Streamed>(source, destination, width, height);
        hwy::FlushStream();
    } else {
        ConvertRows<Kernel, Cached>(source, destination, width, height);
    }
}

void CopyBlock(const SourceBlock& source, const DestinationBlock& destination, std::size_t width,
               std::size_t height, bool isLarge) {
    const std::size_t rest = width % CopyWords::SourceSize;
    const std::size_t whole = width - rest;
    ConvertBlock<CopyWords>(source, destination, whole / CopyWords::SourceSize, height, isLarge);
    if (rest == 0) {
        return;
    }
    for (std::size_t y = 0; y < height; ++y) {
        const auto row = static_cast<std::ptrdiff_t>(y);
        std::memcpy(destination.pixels + row * destination.stride + whole,
                    source.pixels + row * source.stride + whole, rest);
    }
}

// The kernels as functions, since Highway exports functions by name.
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
RASTER_BLOCK(RGBA8ToGreyA8, MixGrey)
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
