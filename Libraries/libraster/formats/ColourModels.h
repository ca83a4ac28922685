// Conversions between RGB and the other colour models. Their device versions are in the files of
// the formats and have the same steps. Compiled once for each instruction set; see Highway.h.

#if defined(RASTER_FORMATS_COLOURMODELS_H) == defined(HWY_TARGET_TOGGLE)
#ifdef RASTER_FORMATS_COLOURMODELS_H
#undef RASTER_FORMATS_COLOURMODELS_H
#else
#define RASTER_FORMATS_COLOURMODELS_H
#endif

#include "formats/Lanes.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// LaneCount pixels, planar: a vector for each component.
struct Pixels {
    Floats r;
    Floats g;
    Floats b;
    Floats a;
};

/// Luma of BT.601, deliberately of the gamma-encoded values.
HWY_INLINE Floats ToGrey(const Pixels& p) {
    return (Floats(0.299f) * p.r + Floats(0.587f) * p.g) + Floats(0.114f) * p.b;
}

struct Inks {
    Floats c;
    Floats m;
    Floats y;
    Floats k;
};

HWY_INLINE Floats Uninked(Floats ink, Floats k) {
    return Floats(1.0f) - Smaller(1.0f, ink * (Floats(1.0f) - k) + k);
}

HWY_INLINE Pixels FromInks(const Inks& inks, Floats alpha) {
    return {Uninked(inks.c, inks.k), Uninked(inks.m, inks.k), Uninked(inks.y, inks.k), alpha};
}

/// Maximum black generation (full GCR): K is the least of 1 - R, 1 - G, 1 - B. Pure black has no
/// other ink.
HWY_INLINE Inks ToInks(const Pixels& p) {
    const Floats one = 1.0f;
    const Floats k = Smaller(one - p.r, Smaller(one - p.g, one - p.b));
    const auto isInked = one > k;
    const auto ink = [&](Floats light)
                         HWY_ATTR { return Select(isInked, (one - light - k) / (one - k), 0.0f); };
    return {ink(p.r), ink(p.g), ink(p.b), k};
}

template <int N>
HWY_INLINE Floats Power(Floats x) {
    if constexpr (N == 1) {
        return x;
    } else if constexpr (N % 2 == 0) {
        const Floats half = Power<N / 2>(x);
        return half * half;
    } else {
        return Power<N - 1>(x) * x;
    }
}

/// The root of a positive normal number, to about one unit in the last place, by IEEE 754 basic
/// operations alone, since the results of math libraries differ. The initial guess, the exponent
/// divided by N with an interpolated mantissa, is within one per cent, and each of Halley's
/// iterations cubes the error.
template <int N>
HWY_INLINE Floats Root(Floats x) {
    // (1 - 1/N) (127 - 0.045) 2^23: the bits of 1, less half of the interpolation's error.
    constexpr float Bits = 1064975338.0f * (N - 1) / N;
    const Floats guess =
        Floats(hn::ConvertTo(FloatTag(), hn::BitCast(IntTag(), x.v))) * (1.0f / N) + Bits;
    Floats root = hn::BitCast(FloatTag(), hn::ConvertTo(IntTag(), guess.v));
    for (int step = 0; step < 2; ++step) {
        const Floats power = Power<N>(root);
        const Floats twice = (x - power) * 2.0f;
        root = root + root * (twice / (power * (N + 1.0f) + x * (N - 1.0f)));
    }
    return root;
}

HWY_INLINE Floats Magnitude(Floats x) {
    return hn::Abs(x.v);
}
HWY_INLINE Floats WithSign(Floats magnitude, Floats sign) {
    return hn::CopySign(magnitude.v, sign.v);
}

/// The tone curve of sRGB (IEC 61966-2-1), continued as an odd function for values below 0.
inline HWY_NOINLINE Floats Linearise(Floats encoded) {
    const Floats x = Magnitude(encoded);
    const Floats base = (x + 0.055f) / 1.055f;
    const Floats curve = base * base * Power<2>(Root<5>(base));
    return WithSign(Select(x > 0.04045f, curve, x / 12.92f), encoded);
}
inline HWY_NOINLINE Floats Encode(Floats linear) {
    const Floats x = Magnitude(linear);
    const Floats curve = Power<5>(Root<12>(x)) * 1.055f - 0.055f;
    return WithSign(Select(x > 0.0031308f, curve, x * 12.92f), linear);
}

/// The function f of CIE 1976 L*a*b* (ISO 11664-4), a cube root that is linear near 0.
inline HWY_NOINLINE Floats Compress(Floats x) {
    return Select(x > 216.0f / 24389.0f, Root<3>(x), x * (841.0f / 108.0f) + 4.0f / 29.0f);
}
HWY_INLINE Floats Expand(Floats x) {
    return Select(x > 6.0f / 29.0f, Power<3>(x), (x - 4.0f / 29.0f) * (108.0f / 841.0f));
}

HWY_INLINE Floats Mix(const float (&row)[3], Floats x, Floats y, Floats z) {
    return (x * row[0] + y * row[1]) + z * row[2];
}

// The primaries of sRGB, adapted to D50 by Bradford, relative to the white point: X, Y and Z are 1
// for white, and the second matrix is the inverse of the first.
inline constexpr float LightToXYZ[3][3] = {{0.4522311259f, 0.3994118552f, 0.1483570189f},
                                           {0.2224845402f, 0.7169050786f, 0.0606103812f},
                                           {0.0168750000f, 0.1176715222f, 0.8654534778f}};
inline constexpr float XYZToLight[3][3] = {{3.0219824924f, -1.6172089590f, -0.4047735334f},
                                           {-0.9437093077f, 1.9161300968f, 0.0275792110f},
                                           {0.0693876192f, -0.2289938735f, 1.1596062543f}};

struct Lab {
    Floats l;
    Floats a;
    Floats b;
};

/// L* as 0..1, a* and b* as (x + 128) / 255, which is how ICC profiles encode them in integers.
HWY_INLINE Lab ToLab(const Pixels& p) {
    const Floats r = Linearise(p.r);
    const Floats g = Linearise(p.g);
    const Floats b = Linearise(p.b);
    const Floats x = Compress(Mix(LightToXYZ[0], r, g, b));
    const Floats y = Compress(Mix(LightToXYZ[1], r, g, b));
    const Floats z = Compress(Mix(LightToXYZ[2], r, g, b));
    return {y * 1.16f - 0.16f, ((x - y) * 500.0f + 128.0f) / 255.0f,
            ((y - z) * 200.0f + 128.0f) / 255.0f};
}

/// Deliberate: not clamped, so that colours outside the gamut of sRGB are kept.
HWY_INLINE Pixels FromLab(const Lab& lab, Floats alpha) {
    const Floats middle = (lab.l + 0.16f) / 1.16f;
    const Floats x = Expand(middle + (lab.a * 255.0f - 128.0f) / 500.0f);
    const Floats y = Expand(middle);
    const Floats z = Expand(middle - (lab.b * 255.0f - 128.0f) / 200.0f);
    return {Encode(Mix(XYZToLight[0], x, y, z)), Encode(Mix(XYZToLight[1], x, y, z)),
            Encode(Mix(XYZToLight[2], x, y, z)), alpha};
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#endif
