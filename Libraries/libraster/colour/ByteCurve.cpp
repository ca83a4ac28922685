#include "colour/ByteCurve.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Raster {

namespace {

constexpr double CurveTolerance = 0.1 / 255;
constexpr int ByteOctaves = 8;
constexpr int LightOctaves = 25;  // sampled curves have no darker light

/// The coefficients of the cubic through four points, from power 0 up: Newton's form, expanded.
std::array<double, 4> Interpolate(const std::array<double, 4>& x, std::array<double, 4> y) {
    for (std::size_t order = 1; order < 4; ++order) {
        for (std::size_t i = 3; i >= order; --i) {
            y[i] = (y[i] - y[i - 1]) / (x[i] - x[i - order]);
        }
    }
    std::array<double, 4> powers{};
    for (std::size_t i = 4; i-- > 0;) {
        for (std::size_t power = 3; power > 0; --power) {
            powers[power] = powers[power - 1] - x[i] * powers[power];
        }
        powers[0] = y[i] - x[i] * powers[0];
    }
    return powers;
}

/// The cubic from `start` to twice that, through the Chebyshev nodes.
std::array<double, 4> FitOctave(const ToneCurve& curve, double (ToneCurve::*evaluate)(double) const,
                                double start) {
    std::array<double, 4> nodes{};
    std::array<double, 4> values{};
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const double angle = (static_cast<double>(i) + 0.5) * std::numbers::pi / 4;
        nodes[i] = start * (1.5 + 0.5 * std::cos(angle));
        values[i] = (curve.*evaluate)(nodes[i]);
    }
    return Interpolate(nodes, values);
}

double Evaluate(const std::array<double, 4>& powers, double x) {
    return ((powers[3] * x + powers[2]) * x + powers[1]) * x + powers[0];
}

/// The cubics of the last `used` octaves; the others are 0. `isNear(x, cubic)`: whether a cubic
/// will do from x to twice that.
template <class Cubics, class IsNear>
std::optional<Cubics> Fit(const ToneCurve& curve, double (ToneCurve::*evaluate)(double) const,
                          int used, const IsNear& isNear) {
    Cubics cubics{};
    for (int octave = -used; octave < 0; ++octave) {
        const double start = std::ldexp(1.0, octave);
        const std::array<double, 4> powers = FitOctave(curve, evaluate, start);
        if (!isNear(start, powers)) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < powers.size(); ++i) {
            cubics.coefficients[i][Cubics::GetPlace(octave)] = static_cast<float>(powers[i]);
        }
    }
    return cubics;
}

}  // namespace

std::optional<DecodingCubics> FitDecoding(const ToneCurve& curve) {
    const auto isNear = [&curve](double start, const std::array<double, 4>& powers) {
        const int last = static_cast<int>(start * 510);
        for (int byte = static_cast<int>(std::ceil(start * 255)); byte <= last; ++byte) {
            const double value = byte / 255.0;
            const double light = std::clamp(Evaluate(powers, value), 0.0, 1.0);
            const double expected = curve.Encode(curve.Decode(value));
            if (!(std::abs(curve.Encode(light) - expected) <= CurveTolerance)) {
                return false;
            }
        }
        return true;
    };
    std::optional<DecodingCubics> cubics =
        Fit<DecodingCubics>(curve, &ToneCurve::Decode, ByteOctaves, isNear);
    for (std::size_t power = 0; cubics && power < cubics->coefficients.size(); ++power) {
        std::array<float, DecodingCubics::OctaveCount>& row = cubics->coefficients[power];
        row[DecodingCubics::GetPlace(0)] = row[DecodingCubics::GetPlace(-1)];
    }
    return cubics;
}

std::optional<EncodingCubics> FitEncoding(const ToneCurve& curve) {
    const auto isNear = [&curve](double start, const std::array<double, 4>& powers) {
        constexpr int CheckCount = 32;
        for (int i = 0; i <= CheckCount; ++i) {
            const double light = start * (1 + static_cast<double>(i) / CheckCount);
            const double encoded = curve.Encode(light);
            if (!(encoded >= -CurveTolerance && encoded <= 1 + CurveTolerance &&
                  std::abs(Evaluate(powers, light) - encoded) <= CurveTolerance)) {
                return false;
            }
        }
        return true;
    };
    if (curve.Encode(std::ldexp(1.0, -LightOctaves)) > 1.5 / 255) {
        return std::nullopt;  // darker light, which becomes 0, would be seen
    }
    std::optional<EncodingCubics> cubics =
        Fit<EncodingCubics>(curve, &ToneCurve::Encode, LightOctaves, isNear);
    for (std::size_t power = 0; cubics && power < cubics->coefficients.size(); ++power) {
        for (float& coefficient : cubics->coefficients[power]) {
            coefficient = coefficient * 255 + (power == 0 ? 0.5F : 0.0F);
        }
    }
    return cubics;
}

}  // namespace Raster
