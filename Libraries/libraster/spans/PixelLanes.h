// Vectors that hold whole pixels of unit-float RGBA, red to alpha.
// Compiled once for each instruction set; see formats/Highway.h.

// An include guard that opens again for the next instruction set.
#if defined(RASTER_SPANS_PIXELLANES_H) == defined(HWY_TARGET_TOGGLE)
#ifdef RASTER_SPANS_PIXELLANES_H
#undef RASTER_SPANS_PIXELLANES_H
#else
#define RASTER_SPANS_PIXELLANES_H
#endif

#include "formats/Highway.h"

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

/// One pixel: Highway's own vectors hold a single number here.
struct PixelLanes {
    float lanes[4];

    static constexpr std::size_t FloatCount = 4;

    HWY_INLINE static PixelLanes All(float value) { return {{value, value, value, value}}; }
    HWY_INLINE static PixelLanes Load(const float* from) {
        return {{from[0], from[1], from[2], from[3]}};
    }
    HWY_INLINE void Store(float* to) const {
        for (std::size_t i = 0; i < 4; ++i) {
            to[i] = lanes[i];
        }
    }
};
struct PixelMask {
    bool lanes[4];
};

template <class Result = PixelLanes, class Operation>
HWY_INLINE Result ForEachLane(PixelLanes a, PixelLanes b, Operation operation) {
    return {{operation(a.lanes[0], b.lanes[0]), operation(a.lanes[1], b.lanes[1]),
             operation(a.lanes[2], b.lanes[2]), operation(a.lanes[3], b.lanes[3])}};
}
HWY_INLINE PixelLanes operator+(PixelLanes a, PixelLanes b) {
    return ForEachLane(a, b, [](float x, float y) { return x + y; });
}
HWY_INLINE PixelLanes operator-(PixelLanes a, PixelLanes b) {
    return ForEachLane(a, b, [](float x, float y) { return x - y; });
}
HWY_INLINE PixelLanes operator*(PixelLanes a, PixelLanes b) {
    return ForEachLane(a, b, [](float x, float y) { return x * y; });
}
HWY_INLINE PixelLanes operator/(PixelLanes a, PixelLanes b) {
    return ForEachLane(a, b, [](float x, float y) { return x / y; });
}
HWY_INLINE PixelLanes Smaller(PixelLanes a, PixelLanes b) {
    return ForEachLane(a, b, [](float x, float y) { return y < x ? y : x; });
}
HWY_INLINE PixelMask operator>(PixelLanes a, PixelLanes b) {
    return ForEachLane<PixelMask>(a, b, [](float x, float y) { return x > y; });
}
HWY_INLINE PixelLanes Select(PixelMask mask, PixelLanes yes, PixelLanes no) {
    for (std::size_t i = 0; i < 4; ++i) {
        yes.lanes[i] = mask.lanes[i] ? yes.lanes[i] : no.lanes[i];
    }
    return yes;
}
HWY_INLINE bool AllTrue(PixelMask mask) {
    return mask.lanes[0] && mask.lanes[1] && mask.lanes[2] && mask.lanes[3];
}
HWY_INLINE bool AllFalse(PixelMask mask) {
    return !mask.lanes[0] && !mask.lanes[1] && !mask.lanes[2] && !mask.lanes[3];
}
HWY_INLINE PixelLanes AlphaOf(PixelLanes pixels) {
    return PixelLanes::All(pixels.lanes[3]);
}
HWY_INLINE PixelLanes Join(PixelLanes colour, PixelLanes alpha) {
    colour.lanes[3] = alpha.lanes[3];
    return colour;
}
HWY_INLINE PixelLanes SpreadNumbers(const float* four, std::size_t first) {
    return PixelLanes::All(four[first]);
}

#else

using PixelTag = hn::ScalableTag<float>;
using PixelMask = hn::Mask<PixelTag>;

/// One, two or four pixels.
struct PixelLanes {
    hn::Vec<PixelTag> v;

    static constexpr std::size_t FloatCount = hn::MaxLanes(PixelTag());

    HWY_INLINE static PixelLanes All(float value) { return {hn::Set(PixelTag(), value)}; }
    HWY_INLINE static PixelLanes Load(const float* from) { return {hn::LoadU(PixelTag(), from)}; }
    HWY_INLINE void Store(float* to) const { hn::StoreU(v, PixelTag(), to); }
};

HWY_INLINE PixelLanes operator+(PixelLanes a, PixelLanes b) {
    return {hn::Add(a.v, b.v)};
}
HWY_INLINE PixelLanes operator-(PixelLanes a, PixelLanes b) {
    return {hn::Sub(a.v, b.v)};
}
HWY_INLINE PixelLanes operator*(PixelLanes a, PixelLanes b) {
    return {hn::Mul(a.v, b.v)};
}
HWY_INLINE PixelLanes operator/(PixelLanes a, PixelLanes b) {
    return {hn::Div(a.v, b.v)};
}
HWY_INLINE PixelLanes Smaller(PixelLanes a, PixelLanes b) {
    return {hn::Min(a.v, b.v)};
}
HWY_INLINE PixelMask operator>(PixelLanes a, PixelLanes b) {
    return hn::Gt(a.v, b.v);
}
HWY_INLINE PixelLanes Select(PixelMask mask, PixelLanes yes, PixelLanes no) {
    return {hn::IfThenElse(mask, yes.v, no.v)};
}
HWY_INLINE bool AllTrue(PixelMask mask) {
    return hn::AllTrue(PixelTag(), mask);
}
HWY_INLINE bool AllFalse(PixelMask mask) {
    return hn::AllFalse(PixelTag(), mask);
}
/// Each pixel's alpha in all its lanes.
HWY_INLINE PixelLanes AlphaOf(PixelLanes pixels) {
    return {hn::Broadcast<3>(pixels.v)};
}
/// The colours of `colour` beside the alphas of `alpha`.
HWY_INLINE PixelLanes Join(PixelLanes colour, PixelLanes alpha) {
    const hn::RebindToUnsigned<PixelTag> lanes;
    const auto index = hn::And(hn::Iota(lanes, 0), hn::Set(lanes, 3));
    const auto isAlpha = hn::RebindMask(PixelTag(), hn::Eq(index, hn::Set(lanes, 3)));
    return {hn::IfThenElse(isAlpha, alpha.v, colour.v)};
}

/// Broadcasts the numbers of `four` from `first` on, each to all lanes of a pixel.
HWY_INLINE PixelLanes SpreadNumbers(const float* four, std::size_t first) {
    const hn::Repartition<std::uint8_t, PixelTag> bytes;
    alignas(64) static constexpr std::uint8_t Places[] = {
        0,  1,  2,  3,  0,  1,  2,  3,  0,  1,  2,  3,  0,  1,  2,  3,    //
        4,  5,  6,  7,  4,  5,  6,  7,  4,  5,  6,  7,  4,  5,  6,  7,    //
        8,  9,  10, 11, 8,  9,  10, 11, 8,  9,  10, 11, 8,  9,  10, 11,   //
        12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15, 12, 13, 14, 15};  // of bytes in `four`
    const auto numbers = hn::BitCast(bytes, hn::LoadDup128(PixelTag(), four));
    const auto places = hn::Load(bytes, Places + first * 16);
    return {hn::BitCast(PixelTag(), hn::TableLookupBytes(numbers, places))};
}

#endif

/// `value` where `condition` is above 0, else 0, even where `value` is NaN.
HWY_INLINE PixelLanes WhereAboveZero(PixelLanes condition, PixelLanes value) {
    const PixelLanes zero = PixelLanes::All(0);
    return Select(condition > zero, value, zero);
}

/// Clamped to 0..1, NaN to 0.
HWY_INLINE PixelLanes Unit(PixelLanes value) {
    return Smaller(WhereAboveZero(value, value), PixelLanes::All(1));
}

/// `pixels` times `alpha`: 0 where `alpha` is 0 or less or NaN, even for colours that are not
/// finite.
HWY_INLINE PixelLanes Times(PixelLanes pixels, PixelLanes alpha) {
    return WhereAboveZero(alpha, pixels * alpha);
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#endif
