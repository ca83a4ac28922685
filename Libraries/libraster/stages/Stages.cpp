#include "Raster/Stages.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "stages/Stages.cpp"
#include "formats/Highway.h"
#include "formats/PixelCodecs.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// Applies `operation` to LaneCount pixels at a time; the remainder goes through a copy.
template <class Operation>
HWY_INLINE void ChangePixels(float* rgba, std::size_t count, Operation operation) {
    const auto change = [&](float* pixels) HWY_ATTR {
        hn::Vec<FloatTag> r;
        hn::Vec<FloatTag> g;
        hn::Vec<FloatTag> b;
        hn::Vec<FloatTag> a;
        hn::LoadInterleaved4(FloatTag(), pixels, r, g, b, a);
        const Pixels p = operation(Pixels{r, g, b, a});
        hn::StoreInterleaved4(p.r.v, p.g.v, p.b.v, p.a.v, FloatTag(), pixels);
    };
    std::size_t i = 0;
    for (; i + LaneCount <= count; i += LaneCount) {
        change(rgba + 4 * i);
    }
    if (i < count) {
        alignas(64) float rest[4 * LaneCount] = {};
        std::memcpy(rest, rgba + 4 * i, (count - i) * 4 * sizeof(float));
        change(rest);
        std::memcpy(rgba + 4 * i, rest, (count - i) * 4 * sizeof(float));
    }
}

void LumaToAlpha(float* rgba, std::size_t count) {
    ChangePixels(rgba, count, [](const Pixels& p) HWY_ATTR {
        const Floats luma = ToGrey({Clamp(p.r), Clamp(p.g), Clamp(p.b), p.a});
        return Pixels{p.r, p.g, p.b, luma * Clamp(p.a)};
    });
}

void AlphaToGrey(float* rgba, std::size_t count) {
    ChangePixels(rgba, count, [](const Pixels& p) HWY_ATTR {
        const Floats grey = Clamp(p.a);
        return Pixels{grey, grey, grey, 1.0f};
    });
}

void FlattenOnto(const float* colour, float* rgba, std::size_t count) {
    const Floats red = colour[0];
    const Floats green = colour[1];
    const Floats blue = colour[2];
    ChangePixels(rgba, count, [&](const Pixels& p) HWY_ATTR {
        const Floats share = Clamp(p.a);
        const Floats rest = Floats(1.0f) - share;
        const auto isVisible = share > 0.0f;
        const auto mix = [&](Floats over, Floats under) HWY_ATTR {
            return Select(isVisible, over * share, 0.0f) + under * rest;
        };
        return Pixels{mix(p.r, red), mix(p.g, green), mix(p.b, blue), 1.0f};
    });
}

/// Keeps pixels whose alpha is at least `least`, which is above 0.
void ClearHidden(float least, float* rgba, std::size_t count) {
    ChangePixels(rgba, count, [&](const Pixels& p) HWY_ATTR {
        const auto isVisible = hn::Ge(p.a.v, hn::Set(FloatTag(), least));
        const auto keep = [&](Floats x)
                              HWY_ATTR { return Floats(hn::IfThenElseZero(isVisible, x.v)); };
        return Pixels{keep(p.r), keep(p.g), keep(p.b), keep(p.a)};
    });
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

HWY_EXPORT(LumaToAlpha);
HWY_EXPORT(AlphaToGrey);
HWY_EXPORT(FlattenOnto);
HWY_EXPORT(ClearHidden);

class LumaToAlphaStage final : public SpanStage {
    void Apply(float* rgba, std::size_t count) const override {
        HWY_DYNAMIC_DISPATCH(LumaToAlpha)(rgba, count);
    }
};

class AlphaToGreyStage final : public SpanStage {
    void Apply(float* rgba, std::size_t count) const override {
        HWY_DYNAMIC_DISPATCH(AlphaToGrey)(rgba, count);
    }
};

class FlattenStage final : public SpanStage {
public:
    FlattenStage(float red, float green, float blue) noexcept : m_colour{red, green, blue} {}

    void Apply(float* rgba, std::size_t count) const override {
        HWY_DYNAMIC_DISPATCH(FlattenOnto)(m_colour, rgba, count);
    }

private:
    float m_colour[3];
};

class ClearHiddenStage final : public SpanStage {
public:
    explicit ClearHiddenStage(float least) noexcept : m_least(least) {}

    void Apply(float* rgba, std::size_t count) const override {
        HWY_DYNAMIC_DISPATCH(ClearHidden)(m_least, rgba, count);
    }

private:
    float m_least;
};

/// The least alpha that a sample of the format does not round to 0: half a step, as the quotient is
/// rounded up if at all.
float FindLeastAlpha(const PixelFormat& format) noexcept {
    return format.sampleSize == 1   ? 0.5F / 255
           : format.sampleSize == 2 ? 0.5F / 65535
                                    : std::numeric_limits<float>::denorm_min();
}

}  // namespace

Kernel::Counted<const SpanStage> CreateLumaToAlphaStage() {
    return Kernel::MakeCounted<const LumaToAlphaStage>();
}

Kernel::Counted<const SpanStage> CreateAlphaToGreyStage() {
    return Kernel::MakeCounted<const AlphaToGreyStage>();
}

Kernel::Counted<const SpanStage> CreateFlattenStage(float red, float green, float blue) {
    return Kernel::MakeCounted<const FlattenStage>(red, green, blue);
}

Kernel::Counted<const SpanStage> CreateClearHiddenStage(const PixelFormat& target) {
    return Kernel::MakeCounted<const ClearHiddenStage>(FindLeastAlpha(target));
}

}  // namespace Raster
#endif
