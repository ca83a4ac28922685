// For each pixel format, loading LaneCount pixels into components and saving them. Compiled once
// for each instruction set; see Highway.h.

#if defined(RASTER_FORMATS_PIXELCODECS_H) == defined(HWY_TARGET_TOGGLE)
#ifdef RASTER_FORMATS_PIXELCODECS_H
#undef RASTER_FORMATS_PIXELCODECS_H
#else
#define RASTER_FORMATS_PIXELCODECS_H
#endif

#include "formats/ColourModels.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// Eight bits of each word as 0..1.
template <int Shift>
HWY_INLINE Floats UnpackByte(Words words) {
    const Words byte = hn::And(hn::ShiftRight<Shift>(words), hn::Set(WordTag(), 0xFFU));
    return DivideByLargest<std::uint8_t>(ToFloats(byte));
}

/// The sample for `x`, which is within 0..1, in the low bits.
template <class Sample>
HWY_INLINE Words Quantise(Floats x) {
    return ToWords(Round(x * float{std::numeric_limits<Sample>::max()}));
}

// A codec loads LaneCount pixels and saves them. Save() takes pixels in the range that Fit() clamps
// to; those loaded from integers are in it.

/// The base of codecs that clamp to 0..1.
struct ClampingCodec {
    static HWY_INLINE Pixels Fit(const Pixels& p) {
        return {Clamp(p.r), Clamp(p.g), Clamp(p.b), Clamp(p.a)};
    }
};

/// Pixels as little-endian words: red is the low byte.
struct RGBA8Codec : ClampingCodec {
    static constexpr std::size_t PixelSize = 4;

    static HWY_INLINE Pixels Unpack(Words words) {
        return {UnpackByte<0>(words), UnpackByte<8>(words), UnpackByte<16>(words),
                UnpackByte<24>(words)};
    }
    static HWY_INLINE Words Pack(const Pixels& p) {
        const Words low =
            hn::Or(Quantise<std::uint8_t>(p.r), hn::ShiftLeft<8>(Quantise<std::uint8_t>(p.g)));
        const Words high =
            hn::Or(Quantise<std::uint8_t>(p.b), hn::ShiftLeft<8>(Quantise<std::uint8_t>(p.a)));
        return hn::Or(low, hn::ShiftLeft<16>(high));
    }

    static HWY_INLINE Pixels Load(const std::byte* from) {
        return Unpack(LoadWords<std::uint32_t>(from));
    }
    template <class Store>
    static HWY_INLINE void Save(const Pixels& p, std::byte* to) {
        StoreWords<std::uint32_t, Store>(Pack(p), to);
    }
};

/// Pair: an integer as wide as two samples.
template <class Sample, class Pair>
struct GreyACodec : ClampingCodec {
    static constexpr std::size_t PixelSize = sizeof(Pair);
    static constexpr int Bits = std::numeric_limits<Sample>::digits;

    static HWY_INLINE Pixels Load(const std::byte* from) {
        const Words pairs = LoadWords<Pair>(from);
        const Words low = hn::Set(WordTag(), std::numeric_limits<Sample>::max());
        const Floats grey = DivideByLargest<Sample>(ToFloats(hn::And(pairs, low)));
        return {grey, grey, grey, DivideByLargest<Sample>(ToFloats(hn::ShiftRight<Bits>(pairs)))};
    }
    template <class Store>
    static HWY_INLINE void Save(const Pixels& p, std::byte* to) {
        const Words grey = Quantise<Sample>(ToGrey(p));
        StoreWords<Pair, Store>(hn::Or(grey, hn::ShiftLeft<Bits>(Quantise<Sample>(p.a))), to);
    }
};
using GreyA8Codec = GreyACodec<std::uint8_t, std::uint16_t>;
using GreyA16Codec = GreyACodec<std::uint16_t, std::uint32_t>;

/// The first four of each five bytes, and the fifth.
struct Fives {
    Words fours;
    Words fifths;
};

#if HWY_TARGET == HWY_SCALAR
HWY_INLINE Fives LoadFives(const std::byte* from) {
    return {LoadWords<std::uint32_t>(from), LoadWords<std::uint8_t>(from + 4)};
}
HWY_INLINE void StoreFives(const Fives& fives, std::byte* to) {
    StoreWords<std::uint32_t>(fives.fours, to);
    StoreWords<std::uint8_t>(fives.fifths, to + 4);
}
#else
using ByteTag = hn::Repartition<std::uint8_t, FloatTag>;

/// Blocks of 16 bytes with a stride of 20 bytes.
template <class Tag>
HWY_INLINE hn::Vec<Tag> LoadBlocks(Tag tag, const std::byte* from) {
    if constexpr (hn::MaxLanes(Tag()) == 16) {
        return hn::LoadU(tag, reinterpret_cast<const std::uint8_t*>(from));
    } else {
        const hn::Half<Tag> half;
        return hn::Combine(tag, LoadBlocks(half, from + hn::MaxLanes(half) / 16 * 20),
                           LoadBlocks(half, from));
    }
}
template <class Tag>
HWY_INLINE void StoreBlocks(Tag tag, hn::Vec<Tag> blocks, std::byte* to) {
    if constexpr (hn::MaxLanes(Tag()) == 16) {
        hn::StoreU(blocks, tag, reinterpret_cast<std::uint8_t*>(to));
    } else {
        const hn::Half<Tag> half;
        StoreBlocks(half, hn::LowerHalf(half, blocks), to);
        StoreBlocks(half, hn::UpperHalf(half, blocks), to + hn::MaxLanes(half) / 16 * 20);
    }
}

/// In each block of 16 bytes, the bytes at `indices`, and 0 for -1.
HWY_INLINE hn::Vec<ByteTag> Shuffle(hn::Vec<ByteTag> bytes, const std::int8_t (&indices)[16]) {
    const hn::RebindToSigned<ByteTag> tag;
    return hn::TableLookupBytesOr0(bytes, hn::BitCast(ByteTag(), hn::LoadDup128(tag, indices)));
}

// Four pixels are 20 bytes: two blocks, of which the second starts at the fifth byte.
HWY_INLINE Fives LoadFives(const std::byte* from) {
    alignas(16) static constexpr std::int8_t Fours1[] = {0,  1,  2,  3,  5,  6,  7,  8,
                                                         10, 11, 12, 13, -1, -1, -1, -1};
    alignas(16) static constexpr std::int8_t Fours2[] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                                         -1, -1, -1, -1, 11, 12, 13, 14};
    alignas(16) static constexpr std::int8_t Fifths[] = {0,  -1, -1, -1, 5,  -1, -1, -1,
                                                         10, -1, -1, -1, 15, -1, -1, -1};
    const auto first = LoadBlocks(ByteTag(), from);
    const auto second = LoadBlocks(ByteTag(), from + 4);
    return {hn::BitCast(WordTag(), hn::Or(Shuffle(first, Fours1), Shuffle(second, Fours2))),
            hn::BitCast(WordTag(), Shuffle(second, Fifths))};
}
HWY_INLINE void StoreFives(const Fives& fives, std::byte* to) {
    alignas(16) static constexpr std::int8_t Fours1[] = {0, 1,  2, 3, -1, 4,  5,  6,
                                                         7, -1, 8, 9, 10, 11, -1, 12};
    alignas(16) static constexpr std::int8_t Fifths1[] = {-1, -1, -1, -1, 0,  -1, -1, -1,
                                                          -1, 4,  -1, -1, -1, -1, 8,  -1};
    alignas(16) static constexpr std::int8_t Fours2[] = {-1, 4,  5,  6,  7,  -1, 8,  9,
                                                         10, 11, -1, 12, 13, 14, 15, -1};
    alignas(16) static constexpr std::int8_t Fifths2[] = {0,  -1, -1, -1, -1, 4,  -1, -1,
                                                          -1, -1, 8,  -1, -1, -1, -1, 12};
    const auto fours = hn::BitCast(ByteTag(), fives.fours);
    const auto fifths = hn::BitCast(ByteTag(), fives.fifths);
    StoreBlocks(ByteTag(), hn::Or(Shuffle(fours, Fours1), Shuffle(fifths, Fifths1)), to);
    StoreBlocks(ByteTag(), hn::Or(Shuffle(fours, Fours2), Shuffle(fifths, Fifths2)), to + 4);
}
#endif

struct CMYKA8Codec : ClampingCodec {
    static constexpr std::size_t PixelSize = 5;

    static HWY_INLINE Pixels Load(const std::byte* from) {
        const auto [inks, alphas] = LoadFives(from);
        return FromInks({Ink<0>(inks), Ink<8>(inks), Ink<16>(inks), Ink<24>(inks)},
                        UnpackByte<0>(alphas));
    }
    template <class Store>
    static HWY_INLINE void Save(const Pixels& p, std::byte* to) {
        const Inks inks = ToInks(p);
        StoreFives(
            {RGBA8Codec::Pack({inks.c, inks.m, inks.y, inks.k}), Quantise<std::uint8_t>(p.a)}, to);
    }

private:
    /// Deliberate: inks are multiplied by the float nearest to 1/255, which is not quite a
    /// division.
    template <int Shift>
    static HWY_INLINE Floats Ink(Words words) {
        const Words byte = hn::And(hn::ShiftRight<Shift>(words), hn::Set(WordTag(), 0xFFU));
        return ToFloats(byte) * (1.0f / 255.0f);
    }
};

struct LabA16Codec {
    static constexpr std::size_t PixelSize = 8;

    static HWY_INLINE Pixels Load(const std::byte* from) {
        alignas(64) std::uint32_t words[LaneCount * 2];
        std::memcpy(words, from, sizeof(words));
        Words la;
        Words balpha;
        hn::LoadInterleaved2(WordTag(), words, la, balpha);
        return FromLab({Low(la), High(la), Low(balpha)}, High(balpha));
    }
    static HWY_INLINE Pixels Fit(const Pixels& p) {
        return {Bound(p.r), Bound(p.g), Bound(p.b), Clamp(p.a)};
    }
    template <class Store>
    static HWY_INLINE void Save(const Pixels& p, std::byte* to) {
        const Lab lab = ToLab(p);
        const Words la = hn::Or(Sample(lab.l), hn::ShiftLeft<16>(Sample(lab.a)));
        const Words balpha = hn::Or(Sample(lab.b), hn::ShiftLeft<16>(Sample(p.a)));
        alignas(64) std::uint32_t words[LaneCount * 2];
        hn::StoreInterleaved2(la, balpha, WordTag(), words);
        std::memcpy(to, words, sizeof(words));
    }

private:
    static HWY_INLINE Floats Low(Words words) {
        return DivideByLargest<std::uint16_t>(
            ToFloats(hn::And(words, hn::Set(WordTag(), 0xFFFFU))));
    }
    static HWY_INLINE Floats High(Words words) {
        return DivideByLargest<std::uint16_t>(ToFloats(hn::ShiftRight<16>(words)));
    }
    /// NaN to 0, others clamped to -4..4, which includes all colours of 16-bit Lab; beyond that the
    /// powers might overflow.
    static HWY_INLINE Floats Bound(Floats x) {
        const auto number = hn::IfThenElseZero(hn::Eq(x.v, x.v), x.v);
        return hn::Max(Smaller(number, 4.0f).v, Floats(-4.0f).v);
    }
    /// Deliberate: half is added and the result truncated, as colour engines do for Lab.
    static HWY_INLINE Words Sample(Floats x) {
        return ToWords(hn::ConvertTo(IntTag(), (Clamp(x) * 65535.0f + 0.5f).v));
    }
};

template <class Sample>
struct AlphaCodec {
    static constexpr std::size_t PixelSize = sizeof(Sample);

    static HWY_INLINE Pixels Load(const std::byte* from) {
        return {0.0f, 0.0f, 0.0f, LoadSamples<Sample>(from)};
    }
    static HWY_INLINE Pixels Fit(const Pixels& p) { return p; }
    template <class Store>
    static HWY_INLINE void Save(const Pixels& p, std::byte* to) {
        StoreSamples<Sample, Store>(p.a, to);
    }
};

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#endif
