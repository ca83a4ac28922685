// Four pixels of unit-float RGBA and the weighted sums of taps that make them.
// Compiled once for each instruction set; see formats/Highway.h.

// An include guard that opens again for the next instruction set.
#if defined(RASTER_RESAMPLING_FOURPIXELS_H) == defined(HWY_TARGET_TOGGLE)
#ifdef RASTER_RESAMPLING_FOURPIXELS_H
#undef RASTER_RESAMPLING_FOURPIXELS_H
#else
#define RASTER_RESAMPLING_FOURPIXELS_H
#endif

#include "spans/PixelLanes.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

constexpr std::size_t FloatCount = PixelLanes::FloatCount;
constexpr std::size_t PartCount = 16 / FloatCount;

struct FourPixels {
    PixelLanes parts[PartCount];
};

HWY_INLINE FourPixels MakeZero() {
    FourPixels zero;
    for (PixelLanes& part : zero.parts) {
        part = PixelLanes::All(0);
    }
    return zero;
}

/// `pixels` times `weights`. Guarded: 0 where a weight is 0, even for pixels that are not finite.
template <bool IsGuarded>
HWY_INLINE PixelLanes Weigh(PixelLanes pixels, PixelLanes weights) {
    const PixelLanes product = pixels * weights;
    return IsGuarded ? WhereAboveZero(weights * weights, product) : product;
}

/// The weighted sums of a row's taps: those at every fourth place from each of the first four.
template <bool IsGuarded>
HWY_INLINE FourPixels SumTaps(const float* row, const float* weights, std::size_t count) {
    FourPixels sums;
    for (std::size_t part = 0; part < PartCount; ++part) {
        const std::size_t first = part * FloatCount / 4;
        PixelLanes sum =
            Weigh<IsGuarded>(PixelLanes::Load(row + first * 4), SpreadNumbers(weights, first));
        for (std::size_t k = 4; k < count; k += 4) {
            sum = sum + Weigh<IsGuarded>(PixelLanes::Load(row + (k + first) * 4),
                                         SpreadNumbers(weights + k, first));
        }
        sums.parts[part] = sum;
    }
    return sums;
}

/// Adds up the four sums of each of four pixels, in pairs: (0 + 1) + (2 + 3). The order does not
/// depend on the vector size, so all instruction sets give the same bytes.
HWY_INLINE FourPixels AddUp(const FourPixels* sums) {
    FourPixels result;
#if HWY_TARGET == HWY_SCALAR || HWY_MAX_BYTES == 16
    for (std::size_t i = 0; i < 4; ++i) {
        const PixelLanes* const parts = sums[i].parts;
        result.parts[i] = (parts[0] + parts[1]) + (parts[2] + parts[3]);
    }
#elif HWY_MAX_BYTES == 32
    constexpr PixelTag Tag;
    const auto pair = [&](std::size_t i, std::size_t part) HWY_ATTR {
        const auto a = sums[i].parts[part].v;
        const auto b = sums[i + 1].parts[part].v;
        return hn::Add(hn::ConcatLowerLower(Tag, b, a), hn::ConcatUpperUpper(Tag, b, a));
    };
    result.parts[0] = {hn::Add(pair(0, 0), pair(0, 1))};
    result.parts[1] = {hn::Add(pair(2, 0), pair(2, 1))};
#else
    constexpr PixelTag Tag;
    const auto pair = [&](std::size_t i) HWY_ATTR {  // [a0 + a1, b0 + b1, a2 + a3, b2 + b3]
        const auto a = sums[i].parts[0].v;
        const auto b = sums[i + 1].parts[0].v;
        return hn::Add(hn::OddEvenBlocks(b, a), hn::SwapAdjacentBlocks(hn::OddEvenBlocks(a, b)));
    };
    const auto ab = pair(0);
    const auto cd = pair(2);
    result.parts[0] = {
        hn::Add(hn::ConcatLowerLower(Tag, cd, ab), hn::ConcatUpperUpper(Tag, cd, ab))};
#endif
    return result;
}

HWY_INLINE void StoreFour(const FourPixels& pixels, float* rgba) {
    for (std::size_t part = 0; part < PartCount; ++part) {
        pixels.parts[part].Store(rgba + part * FloatCount);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#endif
