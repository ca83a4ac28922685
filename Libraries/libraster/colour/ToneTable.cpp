#include "colour/ToneTable.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <new>

namespace Raster {

namespace {

constexpr int MantissaBits = 23;
constexpr int ExponentBias = 127;
constexpr double SampleMaximum = 65535;
constexpr double HalfStep = 0x1p-17;  // of 16-bit encoded values
constexpr double NoLight = 0x1p-25;   // far below an encoded step near black

/// The intervals of a table: 2^bits for each octave from 2^first to 2^last.
struct Octaves {
    int first;
    int last;
    int bits;
};

/// Parametric curves continue above 1. In the first octave and below, even a gamma of 2.6 is linear
/// to within half a step. Sampled curves may start with any number of zeros: encoding then jumps
/// within the first interval, at light below NoLight.
Octaves FindOctaves(bool isFormula, int bits) {
    return isFormula ? Octaves{-40, 8, bits} : Octaves{-26, 0, bits};
}

/// The piecewise linear approximation of `function`. Empty if that decreases, does not start at 0
/// or is not finite, or if `isOn(x, y)` is false for the middle of an interval, except above 1.
template <class Function, class IsOn>
std::optional<ToneTable> CutTable(const Octaves& octaves, const Function& function,
                                  const IsOn& isOn) {
    if (std::abs(function(0)) > NoLight) {
        return std::nullopt;
    }
    ToneTable table{
        MantissaBits - octaves.bits, (octaves.first + ExponentBias) << octaves.bits, {}};
    const std::int32_t endIndex = (octaves.last + ExponentBias) << octaves.bits;
    table.lines.reserve(static_cast<std::size_t>(endIndex - table.firstIndex));
    double x = 0;
    double y = 0;
    for (std::int32_t next = table.firstIndex + 1; next <= endIndex; ++next) {
        const double nextX = std::bit_cast<float>(next << table.shift);
        const double nextY = function(nextX);
        const double slope = (nextY - y) / (nextX - x);
        const bool isGood = slope >= 0 && std::isfinite(slope) &&
                            (nextX > 1 || isOn((x + nextX) / 2, (y + nextY) / 2));
        if (!isGood) {
            return std::nullopt;
        }
        table.lines.push_back({static_cast<float>(y - slope * x), static_cast<float>(slope)});
        x = nextX;
        y = nextY;
    }
    return table;
}

/// The coarsest table that is accurate enough.
template <class Function, class IsOn>
std::optional<ToneTable> MakeTable(bool isFormula, const Function& function, const IsOn& isOn) {
    std::optional<ToneTable> table;
    for (int bits = 9; bits <= 12 && !table; ++bits) {
        table = CutTable(FindOctaves(isFormula, bits), function, isOn);
    }
    return table;
}

/// Whether a point is within half a 16-bit step of the curve. The encoding curve is concave, as
/// that of all displays: its slope is at most `encoded / light`.
bool IsOnCurve(const ToneCurve& curve, double encoded, double light) {
    const double error = std::abs(curve.Decode(encoded) - light);
    return error <= NoLight || error * encoded <= HalfStep * light;
}

}  // namespace

ToneCurve::ToneCurve(const cmsToneCurve& curve) : m_curve(&curve) {
    if (cmsGetToneCurveParametricType(&curve) == 0) {
        m_samples = {cmsGetToneCurveEstimatedTable(&curve),
                     cmsGetToneCurveEstimatedTableEntries(&curve)};
        return;
    }
    m_inverse.reset(cmsReverseToneCurve(&curve));
    if (!m_inverse) {
        throw std::bad_alloc();
    }
}

double ToneCurve::Decode(double encoded) const {
    if (m_samples.empty()) {
        return static_cast<double>(cmsEvalToneCurveFloat(m_curve, static_cast<float>(encoded)));
    }
    const double position =
        std::clamp(encoded, 0.0, 1.0) * static_cast<double>(m_samples.size() - 1);
    const std::size_t index = std::min(static_cast<std::size_t>(position), m_samples.size() - 2);
    const double rise = m_samples[index + 1] - m_samples[index];
    return (m_samples[index] + rise * (position - static_cast<double>(index))) / SampleMaximum;
}

double ToneCurve::Encode(double light) const {
    if (m_samples.empty()) {
        return static_cast<double>(
            cmsEvalToneCurveFloat(m_inverse.get(), static_cast<float>(light)));
    }
    const double value = light * SampleMaximum;
    const auto above = std::ranges::lower_bound(m_samples, value);
    if (above == m_samples.begin()) {
        return 0;
    }
    if (above == m_samples.end()) {
        return 1;
    }
    const double below = *(above - 1);
    const double place = static_cast<double>(above - 1 - m_samples.begin());
    return (place + (value - below) / (*above - below)) / static_cast<double>(m_samples.size() - 1);
}

std::optional<ToneTable> ToneCurve::MakeDecodingTable() const {
    return MakeTable(
        m_samples.empty(), [this](double encoded) { return Decode(encoded); },
        [this](double encoded, double light) { return IsOnCurve(*this, encoded, light); });
}

std::optional<ToneTable> ToneCurve::MakeEncodingTable() const {
    if (std::abs(Decode(0)) > NoLight) {
        return std::nullopt;  // 0 stands for more light than none
    }
    return MakeTable(
        m_samples.empty(), [this](double light) { return Encode(light); },
        [this](double light, double encoded) { return IsOnCurve(*this, encoded, light); });
}

bool operator==(const ToneCurve& a, const ToneCurve& b) {
    constexpr std::size_t ParameterCount = 10;  // of every formula of lcms2
    const auto getTable = [](const ToneCurve& curve) {
        return std::span(cmsGetToneCurveEstimatedTable(curve.m_curve),
                         cmsGetToneCurveEstimatedTableEntries(curve.m_curve));
    };
    const auto getParameters = [](const ToneCurve& curve) {
        return std::span<const double>(cmsGetToneCurveParams(curve.m_curve),
                                       curve.m_samples.empty() ? ParameterCount : 0);
    };
    return std::ranges::equal(getTable(a), getTable(b)) &&
           std::ranges::equal(getParameters(a), getParameters(b));
}

}  // namespace Raster
