// Vectors of floats with the usual operators, and loads and stores of samples. Compiled once for
// each instruction set; see Highway.h.

// An include guard that opens again for the next instruction set.
#if defined(RASTER_FORMATS_LANES_H) == defined(HWY_TARGET_TOGGLE)
#ifdef RASTER_FORMATS_LANES_H
#undef RASTER_FORMATS_LANES_H
#else
#define RASTER_FORMATS_LANES_H
#endif

#include "formats/Highway.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using FloatTag = hn::ScalableTag<float>;
using IntTag = hn::RebindToSigned<FloatTag>;
using WordTag = hn::RebindToUnsigned<FloatTag>;
using Ints = hn::Vec<IntTag>;
using Words = hn::Vec<WordTag>;

/// How many pixels are converted at a time: the floats of a vector.
inline constexpr std::size_t LaneCount = hn::MaxLanes(FloatTag());

struct Floats {
    hn::Vec<FloatTag> v;

    // NOLINTBEGIN(google-explicit-constructor): formulas mix vectors and numbers
    HWY_INLINE Floats(hn::Vec<FloatTag> value) : v(value) {}
    HWY_INLINE Floats(float value) : v(hn::Set(FloatTag(), value)) {}
    // NOLINTEND(google-explicit-constructor)
};
HWY_INLINE Floats operator+(Floats a, Floats b) {
    return hn::Add(a.v, b.v);
}
HWY_INLINE Floats operator-(Floats a, Floats b) {
    return hn::Sub(a.v, b.v);
}
HWY_INLINE Floats operator*(Floats a, Floats b) {
    return hn::Mul(a.v, b.v);
}
HWY_INLINE Floats operator/(Floats a, Floats b) {
    return hn::Div(a.v, b.v);
}
HWY_INLINE auto operator>(Floats a, Floats b) {
    return hn::Gt(a.v, b.v);
}
HWY_INLINE Floats Smaller(Floats a, Floats b) {
    return hn::Min(a.v, b.v);
}
template <class Mask>
HWY_INLINE Floats Select(Mask mask, Floats yes, Floats no) {
    return hn::IfThenElse(mask, yes.v, no.v);
}

/// `x` clamped to 0..1, NaN to 0.
HWY_INLINE Floats Clamp(Floats x) {
    return Smaller(hn::IfThenElseZero(x > 0.0f, x.v), 1.0f);
}

/// `x` rounded half away from zero, exact for every float from 0 to 65535.5: with the largest float
/// below one half, 0.49999997 does not become 1.
HWY_INLINE Ints Round(Floats x) {
    return hn::ConvertTo(IntTag(), (x + 0x1.fffffep-2f).v);
}

/// `x`, a whole number from 0 to the largest Sample, divided by the largest Sample. Since 1/255 =
/// 1/256 + 1/256/255 and the first product is exact, the sum equals the division for each of these
/// numbers.
template <class Sample>
HWY_INLINE Floats DivideByLargest(Floats x) {
    constexpr float Largest = std::numeric_limits<Sample>::max();
    const Floats most = x * (1.0f / (Largest + 1.0f));
    return most + most * (1.0f / Largest);
}

HWY_INLINE Floats ToFloats(Words x) {
    return hn::ConvertTo(FloatTag(), hn::BitCast(IntTag(), x));
}
HWY_INLINE Words ToWords(Ints x) {
    return hn::BitCast(WordTag(), x);
}

/// LaneCount samples, at any address, as 0..1.
template <class Sample>
HWY_INLINE Floats LoadSamples(const std::byte* from) {
    const hn::Rebind<Sample, FloatTag> tag;
    const auto samples = hn::LoadU(tag, reinterpret_cast<const Sample*>(from));
    if constexpr (std::numeric_limits<Sample>::is_integer) {
        return DivideByLargest<Sample>(hn::ConvertTo(FloatTag(), hn::PromoteTo(IntTag(), samples)));
    } else {
        return samples;
    }
}

/// Store policies: ordinary stores.
struct Cached {
    template <class Tag>
    static HWY_INLINE void Put(hn::Vec<Tag> v, Tag tag, hn::TFromD<Tag>* to) {
        hn::StoreU(v, tag, to);
    }
};
/// Non-temporal stores, which bypass the cache; `to` is aligned to the size of the vector.
struct Streamed {
    template <class Tag>
    static HWY_INLINE void Put(hn::Vec<Tag> v, Tag tag, hn::TFromD<Tag>* to) {
        if constexpr (sizeof(hn::TFromD<Tag>) * hn::MaxLanes(Tag()) >= 16) {
            hn::Stream(v, tag, to);
        } else {
            hn::StoreU(v, tag, to);  // too small for a non-temporal store
        }
    }
};

/// The inverse of LoadSamples(): stores LaneCount samples; integers are clamped, with NaN as 0, and
/// rounded.
template <class Sample, class Store = Cached>
HWY_INLINE void StoreSamples(Floats x, std::byte* to) {
    const hn::Rebind<Sample, FloatTag> tag;
    Sample* const samples = reinterpret_cast<Sample*>(to);
    if constexpr (std::numeric_limits<Sample>::is_integer) {
        constexpr float Largest = std::numeric_limits<Sample>::max();
        Store::Put(hn::DemoteTo(tag, Round(Clamp(x) * Largest)), tag, samples);
    } else {
        Store::Put(x.v, tag, samples);
    }
}

/// LaneCount unsigned integers of at most 32 bits.
template <class Small>
HWY_INLINE Words LoadWords(const std::byte* from) {
    const hn::Rebind<Small, FloatTag> tag;
    const auto integers = hn::LoadU(tag, reinterpret_cast<const Small*>(from));
    if constexpr (sizeof(Small) == sizeof(std::uint32_t)) {
        return integers;
    } else {
        return ToWords(hn::PromoteTo(IntTag(), integers));
    }
}
template <class Small, class Store = Cached>
HWY_INLINE void StoreWords(Words x, std::byte* to) {
    const hn::Rebind<Small, FloatTag> tag;
    if constexpr (sizeof(Small) == sizeof(std::uint32_t)) {
        Store::Put(x, tag, reinterpret_cast<Small*>(to));
    } else {
        Store::Put(hn::DemoteTo(tag, hn::BitCast(IntTag(), x)), tag, reinterpret_cast<Small*>(to));
    }
}

/// A kernel has the sizes of its source and destination pixels in bytes and Run<Store>(), which
/// converts LaneCount pixels. This converts any number: the remainder goes through copies.
template <class Kernel, class Store = Cached>
HWY_INLINE void ConvertRow(const std::byte* source, std::byte* destination, std::size_t count) {
    std::size_t done = 0;
    for (; done + LaneCount <= count; done += LaneCount) {
        Kernel::template Run<Store>(source + done * Kernel::SourceSize,
                                    destination + done * Kernel::DestinationSize);
    }
    if (done < count) {
        alignas(64) std::byte in[LaneCount * Kernel::SourceSize] = {};
        alignas(64) std::byte out[LaneCount * Kernel::DestinationSize];
        std::memcpy(in, source + done * Kernel::SourceSize, (count - done) * Kernel::SourceSize);
        Kernel::template Run<Cached>(in, out);
        std::memcpy(destination + done * Kernel::DestinationSize, out,
                    (count - done) * Kernel::DestinationSize);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#endif
