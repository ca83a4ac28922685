#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rendering/Blending.cpp"  // NOLINT: read again for each instruction set
#include "rendering/Blending.h"

#include "formats/Highway.h"
#include "spans/PixelLanes.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// The sum of two pictures, each pixel with its share of the whole, which becomes the alpha.
HWY_INLINE PixelLanes Mix(PixelLanes a, PixelLanes shareOfA, PixelLanes b, PixelLanes shareOfB) {
    const PixelLanes share = shareOfA + shareOfB;
    const PixelLanes sum = Times(a, shareOfA) + Times(b, shareOfB);
    return WhereAboveZero(share, Join(sum / share, share));
}

/// What `blend` makes of a destination pixel; `weight` is within 0..1.
template <Blend TheBlend>
HWY_INLINE PixelLanes Apply(PixelLanes source, PixelLanes destination, PixelLanes weight) {
    const PixelLanes before = AlphaOf(destination);
    if constexpr (TheBlend == Blend::Over) {
        const PixelLanes share = Unit(AlphaOf(source)) * weight;
        const PixelLanes rest = Unit(before) * (PixelLanes::All(1) - share);
        // What nothing is laid over stays to the bit.
        return Select(share > PixelLanes::All(0), Mix(source, share, destination, rest),
                      WhereAboveZero(before, destination));
    } else if constexpr (TheBlend == Blend::DestinationIn) {
        const PixelLanes alpha = before * Unit(AlphaOf(source));
        return WhereAboveZero(alpha, Join(destination, alpha));
    } else if constexpr (TheBlend == Blend::JoinAlpha) {
        const PixelLanes alpha = AlphaOf(source);
        return WhereAboveZero(alpha, Join(destination, alpha));
    } else {
        return WhereAboveZero(AlphaOf(source), source);
    }
}

/// From `before` to `after` by `share`, at either end to the bit.
HWY_INLINE PixelLanes Fade(PixelLanes before, PixelLanes after, PixelLanes share) {
    const PixelLanes rest = PixelLanes::All(1) - share;
    const PixelLanes alphaBefore = WhereAboveZero(AlphaOf(before), AlphaOf(before));
    const PixelLanes alphaAfter = WhereAboveZero(AlphaOf(after), AlphaOf(after));
    const PixelLanes mixed = Mix(after, alphaAfter * share, before, alphaBefore * rest);
    return Select(share > PixelLanes::All(0), Select(rest > PixelLanes::All(0), mixed, after),
                  before);
}

template <Blend TheBlend>
void BlendAll(const float* source, const float* mask, float weight, float* rgba,
              std::size_t count) {
    const PixelLanes whole = Unit(PixelLanes::All(weight));
    for (std::size_t i = 0; i < count * 4; i += PixelLanes::FloatCount) {
        const PixelLanes before = PixelLanes::Load(rgba + i);
        const PixelLanes over = PixelLanes::Load(source + i);
        const PixelLanes share =
            mask != nullptr ? Unit(AlphaOf(PixelLanes::Load(mask + i))) : PixelLanes::All(1);
        if constexpr (TheBlend == Blend::Over) {
            const PixelLanes after = Apply<TheBlend>(over, before, share * whole);
            Select(share > PixelLanes::All(0), after, before).Store(rgba + i);
        } else {
            Fade(before, Apply<TheBlend>(over, before, whole), share).Store(rgba + i);
        }
    }
}

// A name of their own for what is looked up at run time.
void BlendReplace(const float* source, const float* mask, float weight, float* rgba,
                  std::size_t count) {
    BlendAll<Blend::Replace>(source, mask, weight, rgba, count);
}
void BlendOver(const float* source, const float* mask, float weight, float* rgba,
               std::size_t count) {
    BlendAll<Blend::Over>(source, mask, weight, rgba, count);
}
void BlendDestinationIn(const float* source, const float* mask, float weight, float* rgba,
                        std::size_t count) {
    BlendAll<Blend::DestinationIn>(source, mask, weight, rgba, count);
}
void BlendJoinAlpha(const float* source, const float* mask, float weight, float* rgba,
                    std::size_t count) {
    BlendAll<Blend::JoinAlpha>(source, mask, weight, rgba, count);
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

HWY_EXPORT(BlendReplace);
HWY_EXPORT(BlendOver);
HWY_EXPORT(BlendDestinationIn);
HWY_EXPORT(BlendJoinAlpha);

void BlendSpan(Blend blend, const float* source, const float* mask, float weight, float* rgba,
               std::size_t count) noexcept {
    switch (blend) {
        case Blend::Replace:
            return HWY_DYNAMIC_DISPATCH(BlendReplace)(source, mask, weight, rgba, count);
        case Blend::Over:
            return HWY_DYNAMIC_DISPATCH(BlendOver)(source, mask, weight, rgba, count);
        case Blend::DestinationIn:
            return HWY_DYNAMIC_DISPATCH(BlendDestinationIn)(source, mask, weight, rgba, count);
        case Blend::JoinAlpha:
            return HWY_DYNAMIC_DISPATCH(BlendJoinAlpha)(source, mask, weight, rgba, count);
    }
}

}  // namespace Raster
#endif
