// Tone curves as piecewise linear tables.

#pragma once

#include "colour/Lcms.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Raster {

/// A piecewise linear function of values from 0 up, with equally many intervals in each octave, so
/// that it is as accurate near black as near white. The index of an interval is the bits of the
/// float, shifted right.
struct ToneTable {
    struct Line {
        float intercept;
        float slope;
    };

    std::int32_t shift = 0;       // drops the mantissa bits within an interval
    std::int32_t firstIndex = 0;  // the shifted bits of the first interval, which is extended to 0
    std::vector<Line> lines;      // the last one is extended to infinity
};

/// A tone curve (TRC) of a profile: from encoded to linear values. Valid as long as the curve of
/// lcms2 is.
class ToneCurve {
public:
    explicit ToneCurve(const cmsToneCurve& curve);

    double Decode(double encoded) const;
    double Encode(double light) const;

    /// Tables of both directions, with an error below half a step of 16-bit encoded values in 0..1.
    /// Empty if that accuracy is not reached, and for a curve that decreases or does not start at
    /// 0.
    std::optional<ToneTable> MakeDecodingTable() const;
    std::optional<ToneTable> MakeEncodingTable() const;

    friend bool operator==(const ToneCurve& a, const ToneCurve& b);

private:
    const cmsToneCurve* m_curve;
    LcmsCurve m_inverse;                       // for a parametric curve only
    std::span<const std::uint16_t> m_samples;  // empty for a parametric curve
};

}  // namespace Raster
