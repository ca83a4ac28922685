#include "colour/MatrixKernel.h"

#include <algorithm>
#include <array>

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

}  // namespace

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

RASTER_DISPATCH(RunMatrixConversion,
                (const MatrixConversion& conversion, float* rgba, std::size_t count),
                (conversion, rgba, count))

}  // namespace Raster
#endif
