#include "codecs/PNGFilters.h"

#include <cstdlib>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/PNGFilters.cpp"
#include "formats/Highway.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using ByteTag = hn::ScalableTag<std::uint8_t>;

/// Sets `result` to `operation` of each two bytes.
template <class Operation>
HWY_INLINE void ForBytes(const std::byte* left, const std::byte* right, std::byte* result,
                         std::size_t size, Operation operation) {
    const auto run = [&](auto tag, std::size_t i) HWY_ATTR {
        const auto* a = reinterpret_cast<const std::uint8_t*>(left + i);
        const auto* b = reinterpret_cast<const std::uint8_t*>(right + i);
        hn::StoreU(operation(hn::LoadU(tag, a), hn::LoadU(tag, b)), tag,
                   reinterpret_cast<std::uint8_t*>(result + i));
    };
    constexpr ByteTag Tag;
    std::size_t i = 0;
    for (; i + hn::Lanes(Tag) <= size; i += hn::Lanes(Tag)) {
        run(Tag, i);
    }
    for (; i < size; ++i) {
        run(hn::CappedTag<std::uint8_t, 1>(), i);
    }
}

void FilterUp(const std::byte* row, const std::byte* above, std::byte* filtered, std::size_t size) {
    ForBytes(row, above, filtered, size, [](auto a, auto b) HWY_ATTR { return hn::Sub(a, b); });
}

void UndoUp(const std::byte* filtered, const std::byte* above, std::byte* row, std::size_t size) {
    ForBytes(filtered, above, row, size, [](auto a, auto b) HWY_ATTR { return hn::Add(a, b); });
}

void SwapSampleBytes(const std::byte* source, std::byte* target, std::size_t count) {
    const auto run = [&](auto tag, std::size_t i) HWY_ATTR {
        const auto samples = hn::LoadU(tag, reinterpret_cast<const std::uint16_t*>(source) + i);
        hn::StoreU(hn::Or(hn::ShiftLeft<8>(samples), hn::ShiftRight<8>(samples)), tag,
                   reinterpret_cast<std::uint16_t*>(target) + i);
    };
    constexpr hn::ScalableTag<std::uint16_t> Tag;
    std::size_t i = 0;
    for (; i + hn::Lanes(Tag) <= count; i += hn::Lanes(Tag)) {
        run(Tag, i);
    }
    for (; i < count; ++i) {
        run(hn::CappedTag<std::uint16_t, 1>(), i);
    }
}

// The other filters predict a byte from those of the pixel to the left, which comes first: so
// pixels are taken one by one.

#if HWY_TARGET == HWY_SCALAR

/// The bytes of a pixel, each widened.
struct PixelBytes {
    int bytes[FilterPadding]{};
};

template <std::size_t PixelSize>
HWY_INLINE PixelBytes LoadPixel(const std::byte* pixel) {
    PixelBytes result;
    for (std::size_t i = 0; i < PixelSize; ++i) {
        result.bytes[i] = std::to_integer<int>(pixel[i]);
    }
    return result;
}

template <std::size_t PixelSize, class Predict>
HWY_INLINE PixelBytes AddTo(const PixelBytes& difference, Predict predict) {
    PixelBytes result;
    for (std::size_t i = 0; i < PixelSize; ++i) {
        result.bytes[i] = (difference.bytes[i] + predict(i)) & 0xFF;
    }
    return result;
}

struct Left {
    template <std::size_t PixelSize>
    static PixelBytes Undo(const PixelBytes& x, const PixelBytes& a, const PixelBytes&,
                           const PixelBytes&) {
        return AddTo<PixelSize>(x, [&](std::size_t i) { return a.bytes[i]; });
    }
};

struct Average {
    template <std::size_t PixelSize>
    static PixelBytes Undo(const PixelBytes& x, const PixelBytes& a, const PixelBytes& b,
                           const PixelBytes&) {
        return AddTo<PixelSize>(x, [&](std::size_t i) { return (a.bytes[i] + b.bytes[i]) / 2; });
    }
};

struct Paeth {
    template <std::size_t PixelSize>
    static PixelBytes Undo(const PixelBytes& x, const PixelBytes& a, const PixelBytes& b,
                           const PixelBytes& c) {
        return AddTo<PixelSize>(x, [&](std::size_t i) {
            const int toA = std::abs(b.bytes[i] - c.bytes[i]);
            const int toB = std::abs(a.bytes[i] - c.bytes[i]);
            const int toC = std::abs(a.bytes[i] + b.bytes[i] - 2 * c.bytes[i]);
            return toA <= toB && toA <= toC ? a.bytes[i] : toB <= toC ? b.bytes[i] : c.bytes[i];
        });
    }
};

template <std::size_t PixelSize>
HWY_INLINE void StorePixel(const PixelBytes& value, std::byte* pixel) {
    for (std::size_t i = 0; i < PixelSize; ++i) {
        pixel[i] = static_cast<std::byte>(value.bytes[i]);
    }
}

#else

using NarrowTag = hn::CappedTag<std::uint8_t, FilterPadding>;
using WideTag = hn::RebindToSigned<hn::CappedTag<std::uint16_t, FilterPadding>>;
using PixelBytes = hn::Vec<NarrowTag>;

// Vectors are longer than a pixel: the pixels to the right are loaded and stored later.
template <std::size_t PixelSize>
HWY_INLINE PixelBytes LoadPixel(const std::byte* pixel) {
    return hn::LoadU(NarrowTag(), reinterpret_cast<const std::uint8_t*>(pixel));
}

template <std::size_t PixelSize>
HWY_INLINE void StorePixel(PixelBytes value, std::byte* pixel) {
    hn::StoreU(value, NarrowTag(), reinterpret_cast<std::uint8_t*>(pixel));
}

struct Left {
    template <std::size_t PixelSize>
    static HWY_INLINE PixelBytes Undo(PixelBytes x, PixelBytes a, PixelBytes, PixelBytes) {
        return hn::Add(x, a);
    }
};

struct Average {
    template <std::size_t PixelSize>
    static HWY_INLINE PixelBytes Undo(PixelBytes x, PixelBytes a, PixelBytes b, PixelBytes) {
        // The vector's mean is rounded up, the filter's down.
        const auto odd = hn::And(hn::Xor(a, b), hn::Set(NarrowTag(), 1));
        return hn::Add(x, hn::Sub(hn::AverageRound(a, b), odd));
    }
};

struct Paeth {
    template <std::size_t PixelSize>
    static HWY_INLINE PixelBytes Undo(PixelBytes x, PixelBytes a, PixelBytes b, PixelBytes c) {
        constexpr WideTag Wide;
        const auto wideC = hn::PromoteTo(Wide, c);
        const auto fromA = hn::Sub(hn::PromoteTo(Wide, b), wideC);
        const auto fromB = hn::Sub(hn::PromoteTo(Wide, a), wideC);
        const auto toA = hn::Abs(fromA);
        const auto toB = hn::Abs(fromB);
        const auto toC = hn::Abs(hn::Add(fromA, fromB));
        const auto wideA = hn::PromoteTo(Wide, a);
        const auto wideB = hn::PromoteTo(Wide, b);
        const auto other = hn::IfThenElse(hn::Gt(toB, toC), wideC, wideB);
        const auto best = hn::IfThenElse(hn::Gt(toA, hn::Min(toB, toC)), other, wideA);
        return hn::Add(x, hn::DemoteTo(NarrowTag(), best));
    }
};

#endif

template <class Filter, std::size_t PixelSize>
void UndoByPixels(const std::byte* filtered, const std::byte* above, std::byte* row,
                  std::size_t size) {
    constexpr std::byte Nothing[FilterPadding]{};
    PixelBytes a = LoadPixel<PixelSize>(Nothing);
    PixelBytes c = a;
    for (std::size_t i = 0; i < size; i += PixelSize) {
        const PixelBytes b = LoadPixel<PixelSize>(above + i);
        a = Filter::template Undo<PixelSize>(LoadPixel<PixelSize>(filtered + i), a, b, c);
        c = b;
        StorePixel<PixelSize>(a, row + i);
    }
}

template <class Filter>
void UndoFor(const std::byte* filtered, const std::byte* above, std::byte* row, std::size_t size,
             std::size_t pixelSize) {
    switch (pixelSize) {
        case 1:
            return UndoByPixels<Filter, 1>(filtered, above, row, size);
        case 2:
            return UndoByPixels<Filter, 2>(filtered, above, row, size);
        case 3:
            return UndoByPixels<Filter, 3>(filtered, above, row, size);
        case 4:
            return UndoByPixels<Filter, 4>(filtered, above, row, size);
        case 6:
            return UndoByPixels<Filter, 6>(filtered, above, row, size);
        default:
            return UndoByPixels<Filter, 8>(filtered, above, row, size);
    }
}

void Unfilter(std::uint8_t type, const std::byte* filtered, const std::byte* above, std::byte* row,
              std::size_t size, std::size_t pixelSize) {
    switch (type) {
        case 0:
            std::memcpy(row, filtered, size);
            break;
        case 1:
            UndoFor<Left>(filtered, above, row, size, pixelSize);
            break;
        case 2:
            UndoUp(filtered, above, row, size);
            break;
        case 3:
            UndoFor<Average>(filtered, above, row, size, pixelSize);
            break;
        default:
            UndoFor<Paeth>(filtered, above, row, size, pixelSize);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

RASTER_DISPATCH(FilterUp,
                (const std::byte* row, const std::byte* above, std::byte* filtered,
                 std::size_t size),
                (row, above, filtered, size))
RASTER_DISPATCH(Unfilter,
                (std::uint8_t type, const std::byte* filtered, const std::byte* above,
                 std::byte* row, std::size_t size, std::size_t pixelSize),
                (type, filtered, above, row, size, pixelSize))
RASTER_DISPATCH(SwapSampleBytes, (const std::byte* source, std::byte* target, std::size_t count),
                (source, target, count))

}  // namespace Raster
#endif
