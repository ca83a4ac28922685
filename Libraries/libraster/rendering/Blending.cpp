#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rendering/Blending.cpp"  // NOLINT: read again for each instruction set
#include "rendering/Blending.h"

#include "formats/Highway.h"
#include "spans/PixelLanes.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// The mean of two straight colours, weighted by their shares, whose sum becomes the alpha.
HWY_INLINE PixelLanes Mix(PixelLanes a, PixelLanes shareOfA, PixelLanes b, PixelLanes shareOfB) {
    const PixelLanes share = shareOfA + shareOfB;
    const PixelLanes sum = Times(a, shareOfA) + Times(b, shareOfB);
    return WhereAboveZero(share, Join(sum / share, share));
}

/// The result of a blend mode for destination pixels; `weight` is within 0..1.
template <Blend TheBlend>
HWY_INLINE PixelLanes Apply(PixelLanes source, PixelLanes destination, PixelLanes weight) {
    const PixelLanes before = AlphaOf(destination);
    if constexpr (TheBlend == Blend::Over) {
        const PixelLanes share = Unit(AlphaOf(source)) * weight;
        const PixelLanes rest = Unit(before) * (PixelLanes::All(1) - share);
        // Destination pixels stay bit-exact where the source's share is 0.
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

/// Interpolates from `before` to `after` by `share` in premultiplied alpha, bit-exact at both ends.
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

// Named functions for HWY_EXPORT(), which takes no templates.
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
