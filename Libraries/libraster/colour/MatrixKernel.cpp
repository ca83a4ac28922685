#include "colour/MatrixKernel.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colour/MatrixKernel.cpp"
#include "formats/Highway.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Integers = hn::RebindToSigned<Floats>;
using V = hn::Vec<Floats>;

/// Evaluates the table's piecewise linear function at each lane's magnitude, and copies the sign.
HWY_INLINE V LookUp(const ToneTable& table, V value) {
    const Floats d;
    const Integers di;
    const auto magnitude = hn::Abs(value);
    const auto last = hn::Set(di, static_cast<std::int32_t>(table.lines.size()) - 1);
    const auto place = hn::Sub(hn::ShiftRightSame(hn::BitCast(di, magnitude), table.shift),
                               hn::Set(di, table.firstIndex));
    const auto index = hn::ShiftLeft<1>(hn::Min(hn::Max(place, hn::Zero(di)), last));
    const auto intercept = hn::GatherIndex(d, &table.lines.front().intercept, index);
    const auto slope = hn::GatherIndex(d, &table.lines.front().slope, index);
    return hn::CopySign(hn::Add(intercept, hn::Mul(slope, magnitude)), value);
}

HWY_INLINE V Mix(const std::array<float, 3>& row, V red, V green, V blue) {
    const Floats d;
    return hn::Add(hn::Add(hn::Mul(hn::Set(d, row[0]), red), hn::Mul(hn::Set(d, row[1]), green)),
                   hn::Mul(hn::Set(d, row[2]), blue));
}

/// Converts one vector of pixels.
HWY_INLINE void ConvertPixels(const MatrixConversion& conversion, float* rgba) {
    const Floats d;
    V red;
    V green;
    V blue;
    V alpha;
    hn::LoadInterleaved4(d, rgba, red, green, blue, alpha);
    red = LookUp(*conversion.decoding[0], red);
    green = LookUp(*conversion.decoding[1], green);
    blue = LookUp(*conversion.decoding[2], blue);
    const auto mix = [&](std::size_t channel) {
        return LookUp(*conversion.encoding[channel],
                      Mix(conversion.matrix[channel], red, green, blue));
    };
    hn::StoreInterleaved4(mix(0), mix(1), mix(2), alpha, d, rgba);
}

/// A table of a few vectors, or in memory where those are short. Of the numbers that are looked up
/// only the remainder by Count counts.
template <std::size_t Count>
class VectorTable {
public:
    explicit HWY_INLINE VectorTable(const std::array<float, Count>& numbers)
        : m_numbers(numbers.data()) {
        for (std::size_t i = 0; i < PartCount; ++i) {
            m_parts[i] = hn::Load(Floats(), m_numbers + i * Size);
        }
    }

    HWY_INLINE V LookUp(hn::Vec<Integers> index) const {
        const Integers di;
        if constexpr (PartCount == 0) {
            const auto place = hn::And(index, hn::Set(di, static_cast<std::int32_t>(Count) - 1));
            return hn::GatherIndex(Floats(), m_numbers, place);
#if HWY_TARGET == HWY_AVX3  // Highway has no name for the second, and wants indices in range
        } else if constexpr (PartCount == 1) {
            return V{_mm512_permutexvar_ps(index.raw, m_parts[0].raw)};
        } else if constexpr (PartCount == 2) {
            return V{_mm512_permutex2var_ps(m_parts[0].raw, index.raw, m_parts[1].raw)};
#endif
        } else {
            const auto place = hn::And(index, hn::Set(di, static_cast<std::int32_t>(Count) - 1));
            const auto lanes = hn::IndicesFromVec(
                Floats(), hn::And(index, hn::Set(di, static_cast<std::int32_t>(Size) - 1)));
            V result = hn::TableLookupLanes(m_parts[0], lanes);
            for (std::size_t i = 1; i < PartCount; ++i) {
                const auto isLater =
                    hn::Gt(place, hn::Set(di, static_cast<std::int32_t>(i * Size) - 1));
                result = hn::IfThenElse(hn::RebindMask(Floats(), isLater),
                                        hn::TableLookupLanes(m_parts[i], lanes), result);
            }
            return result;
        }
    }

private:
    static constexpr std::size_t Size = hn::MaxLanes(Floats());
    static constexpr std::size_t PartCount = Size < 8 ? 0 : Count / Size;

    const float* m_numbers;
    V m_parts[PartCount + 1];
};

template <class Cubics>
class VectorCubics {
public:
    explicit HWY_INLINE VectorCubics(const Cubics& cubics)
        : m_0(cubics.coefficients[0]),
          m_1(cubics.coefficients[1]),
          m_2(cubics.coefficients[2]),
          m_3(cubics.coefficients[3]) {}

    HWY_INLINE V Evaluate(V x) const {
        const auto octave = hn::ShiftRight<23>(hn::BitCast(Integers(), x));
        V sum = hn::Add(hn::Mul(m_3.LookUp(octave), x), m_2.LookUp(octave));
        sum = hn::Add(hn::Mul(sum, x), m_1.LookUp(octave));
        return hn::Add(hn::Mul(sum, x), m_0.LookUp(octave));
    }

private:
    VectorTable<Cubics::OctaveCount> m_0;
    VectorTable<Cubics::OctaveCount> m_1;
    VectorTable<Cubics::OctaveCount> m_2;
    VectorTable<Cubics::OctaveCount> m_3;
};

#if HWY_TARGET == HWY_SCALAR  // where vectors of bytes are no vectors of integers
HWY_INLINE hn::Vec<Integers> LoadPixels(const std::uint8_t* from) {
    std::int32_t pixel;
    std::memcpy(&pixel, from, sizeof pixel);
    return hn::Set(Integers(), pixel);
}
HWY_INLINE void StorePixels(hn::Vec<Integers> pixels, std::uint8_t* to) {
    const std::int32_t pixel = hn::GetLane(pixels);
    std::memcpy(to, &pixel, sizeof pixel);
}
#else
using Bytes = hn::Repartition<std::uint8_t, Integers>;
HWY_INLINE hn::Vec<Integers> LoadPixels(const std::uint8_t* from) {
    return hn::BitCast(Integers(), hn::LoadU(Bytes(), from));
}
HWY_INLINE void StorePixels(hn::Vec<Integers> pixels, std::uint8_t* to) {
    hn::StoreU(hn::BitCast(Bytes(), pixels), Bytes(), to);
}
#endif

/// Light as octaves 2^-32 to 2^-1 hold it. The bits of numbers below 0 are those of integers below
/// 0.
HWY_INLINE V ClampLight(V light) {
    constexpr std::int32_t FirstBits = (127 - EncodingCubics::OctaveCount) << 23;
    constexpr std::int32_t LastBits = (127 << 23) - 1;
    const Integers di;
    const auto bits = hn::Max(hn::BitCast(di, light), hn::Set(di, FirstBits));
    return hn::BitCast(Floats(), hn::Min(bits, hn::Set(di, LastBits)));
}

/// The curves of red, green and blue: one for all, or three.
template <class Cubics, bool AreEqual>
struct VectorCurves {
    explicit HWY_INLINE VectorCurves(const std::array<Cubics, 3>& all)
        : red(all[0]), green(all[1]), blue(all[2]) {}
    VectorCubics<Cubics> red;
    VectorCubics<Cubics> green;
    VectorCubics<Cubics> blue;
};
template <class Cubics>
struct VectorCurves<Cubics, true> {
    explicit HWY_INLINE VectorCurves(const std::array<Cubics, 3>& all) : red(all[0]) {}
    VectorCubics<Cubics> red;
    const VectorCubics<Cubics>& green = red;
    const VectorCubics<Cubics>& blue = red;
};

/// The byte of each pixel that `Shift` moves to the lowest place, as 0..1.
template <int Shift>
HWY_INLINE V Unpack(hn::Vec<Integers> pixels) {
    const auto sample = hn::And(hn::ShiftRight<Shift>(pixels), hn::Set(Integers(), 255));
    return hn::Mul(hn::ConvertTo(Floats(), sample), hn::Set(Floats(), 1.0F / 255));
}

template <class Curve>
HWY_INLINE hn::Vec<Integers> Encode(const Curve& curve, V light) {
    return hn::ConvertTo(Integers(), curve.Evaluate(ClampLight(light)));
}

template <class Decoding, class Encoding>
HWY_INLINE hn::Vec<Integers> ConvertBytes(const Decoding& decoding,
                                          const std::array<std::array<float, 3>, 3>& matrix,
                                          const Encoding& encoding, hn::Vec<Integers> pixels) {
    const V red = decoding.red.Evaluate(Unpack<0>(pixels));
    const V green = decoding.green.Evaluate(Unpack<8>(pixels));
    const V blue = decoding.blue.Evaluate(Unpack<16>(pixels));
    const auto newRed = Encode(encoding.red, Mix(matrix[0], red, green, blue));
    const auto newGreen = Encode(encoding.green, Mix(matrix[1], red, green, blue));
    const auto newBlue = Encode(encoding.blue, Mix(matrix[2], red, green, blue));
    const auto alpha = hn::And(pixels, hn::Set(Integers(), static_cast<std::int32_t>(0xFF000000)));
    return hn::Or(hn::Or(newRed, hn::ShiftLeft<8>(newGreen)),
                  hn::Or(hn::ShiftLeft<16>(newBlue), alpha));
}

template <bool AreEqual>
HWY_INLINE void ConvertByteRow(const ByteConversion& conversion, const std::uint8_t* from,
                               std::uint8_t* to, std::size_t count) {
    constexpr std::size_t PixelSize = 4;
    const VectorCurves<DecodingCubics, AreEqual> decoding(conversion.decoding);
    const VectorCurves<EncodingCubics, AreEqual> encoding(conversion.encoding);
    const std::array<std::array<float, 3>, 3> matrix = conversion.matrix;
    const std::size_t step = hn::Lanes(Integers());
    HWY_ALIGN std::uint8_t rest[PixelSize * hn::MaxLanes(Integers())] = {};
    for (std::size_t done = 0; done < count; done += step) {
        const std::size_t size = PixelSize * std::min(step, count - done);
        const bool isWhole = size == PixelSize * step;
        if (!isWhole) {
            std::copy_n(from + done * PixelSize, size, rest);
        }
        const auto pixels = LoadPixels(isWhole ? from + done * PixelSize : rest);
        StorePixels(ConvertBytes(decoding, matrix, encoding, pixels),
                    isWhole ? to + done * PixelSize : rest);
        if (!isWhole) {
            std::copy_n(rest, size, to + done * PixelSize);
        }
    }
}

}  // namespace

void RunByteConversion(const ByteConversion& conversion, const std::byte* source, std::byte* target,
                       std::size_t count) {
    const auto* const from = reinterpret_cast<const std::uint8_t*>(source);
    auto* const to = reinterpret_cast<std::uint8_t*>(target);
    if (conversion.areCurvesEqual) {
        ConvertByteRow<true>(conversion, from, to, count);
    } else {
        ConvertByteRow<false>(conversion, from, to, count);
    }
}

void RunMatrixConversion(const MatrixConversion& conversion, float* rgba, std::size_t count) {
    constexpr std::size_t Channels = 4;
    const std::size_t step = hn::Lanes(Floats());
    std::size_t done = 0;
    for (; done + step <= count; done += step) {
        ConvertPixels(conversion, rgba + done * Channels);
    }
    if (done < count) {
        HWY_ALIGN float rest[Channels * hn::MaxLanes(Floats())] = {};
        float* const from = rgba + done * Channels;
        const std::size_t size = (count - done) * Channels;
        std::copy_n(from, size, rest);
        ConvertPixels(conversion, rest);
        std::copy_n(rest, size, from);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

RASTER_DISPATCH(RunByteConversion,
                (const ByteConversion& conversion, const std::byte* source, std::byte* target,
                 std::size_t count),
                (conversion, source, target, count))
RASTER_DISPATCH(RunMatrixConversion,
                (const MatrixConversion& conversion, float* rgba, std::size_t count),
                (conversion, rgba, count))

}  // namespace Raster
#endif
