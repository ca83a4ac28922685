// Tone curves as tables of straight lines.

#pragma once

#include "colour/Lcms.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Raster {

/// A function of values from 0 up, as a line for each of many intervals: equally many in each
/// octave, so that it is as exact near black as near white. The bits of a float, shifted, count
/// them.
struct ToneTable {
    struct Line {
        float intercept;
        float slope;
    };

    std::int32_t shift = 0;       // over the bits of a float that tell places in an interval apart
    std::int32_t firstIndex = 0;  // the shifted bits in the first interval, which starts at 0
    std::vector<Line> lines;      // the last one goes on to infinity
};

/// A tone curve of a profile: from encoded values to amounts of light. Valid as long as the curve
/// of lcms2 is.
class ToneCurve {
public:
    explicit ToneCurve(const cmsToneCurve& curve);

    double Decode(double encoded) const;
    double Encode(double light) const;

    /// Tables of both directions, off by less than half a step of 16-bit encoded values between 0
    /// and 1. Empty if no table is, and for a curve that falls or whose black is not dark.
    std::optional<ToneTable> MakeDecodingTable() const;
    std::optional<ToneTable> MakeEncodingTable() const;

    friend bool operator==(const ToneCurve& a, const ToneCurve& b);

private:
    const cmsToneCurve* m_curve;
    LcmsCurve m_inverse;                       // for a formula only
    std::span<const std::uint16_t> m_samples;  // empty for a formula
};

}  // namespace Raster
