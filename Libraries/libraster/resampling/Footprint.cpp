#include "resampling/Footprint.h"

#include "resampling/FilterTaps.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace Raster {

namespace {

/// How often an axis can be halved before the kernel spans less than a few pixels on it: means of
/// pixels then differ little from what the kernel would make of the pixels themselves.
int CountHalvings(double frequency, int size) noexcept {
    constexpr double LeastSpan = 4;
    int count = 0;
    for (double span = 1 / frequency; span >= 2 * LeastSpan && (size >> count) > 0; span /= 2) {
        ++count;
    }
    return count;
}

}  // namespace

Footprint::Footprint(Sampler sampler, const MapShape& shape, int width, int height)
    : xx(shape.map.xx), xy(shape.map.xy), yx(shape.map.yx), yy(shape.map.yy) {
    if (sampler != Sampler::Area) {
        Widen(shape.inverse);
    }
    Halve(width, height);
    FindReach(sampler);
}

void Footprint::Widen(const AffineTransform::Params& inverse) {
    // The ellipse is that of the matrix times its transpose, whose eigenvalues are the squares of
    // the axes. The matrix that widens has the same axes.
    const double unit = std::max({std::fabs(inverse.xx), std::fabs(inverse.xy),
                                  std::fabs(inverse.yx), std::fabs(inverse.yy)});
    const double a = inverse.xx / unit;
    const double b = inverse.xy / unit;
    const double c = inverse.yx / unit;
    const double d = inverse.yy / unit;
    const double squareX = a * a + b * b;
    const double squareY = c * c + d * d;
    const double mixed = a * c + b * d;
    const double spread = std::hypot((squareX - squareY) / 2, mixed);
    const double greatest = (squareX + squareY) / 2 + spread;
    constexpr double Widest = 1e8;  // more than the side of any picture
    const double major = std::clamp(unit * std::sqrt(greatest), 1.0, Widest);
    const double minor =
        std::clamp(unit * std::fabs(a * d - b * c) / std::sqrt(greatest), 1.0, Widest);
    const double slope = spread > 1e-12 ? (1 / minor - 1 / major) / (2 * spread) : 0;
    xx = 1 / major + slope * (greatest - squareX);
    yy = 1 / major + slope * (greatest - squareY);
    xy = yx = -slope * mixed;
}

void Footprint::Halve(int width, int height) {
    // The highest frequency that the kernel lets through, along each axis.
    halvingsX = CountHalvings(std::fabs(xx) + std::fabs(yx), width);
    halvingsY = CountHalvings(std::fabs(xy) + std::fabs(yy), height);
    xx = std::ldexp(xx, halvingsX);
    yx = std::ldexp(yx, halvingsX);
    xy = std::ldexp(xy, halvingsY);
    yy = std::ldexp(yy, halvingsY);
}

void Footprint::FindReach(Sampler sampler) {
    if (sampler == Sampler::Area) {
        FindImage();
        return;
    }
    const double reach = GetFilterReach(sampler);
    xx /= reach;
    xy /= reach;
    yx /= reach;
    yy /= reach;
    const double determinant = xx * yy - xy * yx;
    reachX = (std::fabs(yy) + std::fabs(xy)) / determinant;
    reachY = (std::fabs(xx) + std::fabs(yx)) / determinant;
    constexpr double Negligible = 1e-3;
    isSeparable = std::fabs(xy) * reachY < Negligible && std::fabs(yx) * reachX < Negligible;
    if (isSeparable) {
        constexpr double Most = PhaseTable::MaximumCount / 2.0;  // where a single pixel is left
        reachX = std::min(Most, 1 / xx);
        reachY = std::min(Most, 1 / yy);
    }
}

void Footprint::FindImage() {
    const double determinant = std::fabs(xx * yy - xy * yx);
    image = Image{(std::fabs(yy) + std::fabs(xy)) / determinant / 2};
    reachX = image->halfWidth + 0.5;
    reachY = (std::fabs(xx) + std::fabs(yx)) / determinant / 2 + 0.5;
    for (const auto& [i, alongX, alongY] : {std::tuple(0, xx, xy), std::tuple(1, yx, yy)}) {
        constexpr double Upright = 1e-5;
        if (std::fabs(alongY) > Upright * std::fabs(alongX)) {
            image->slopes[i] = -alongX / alongY;
            image->halves[i] = 0.5 / std::fabs(alongY);
        } else {
            image->halves[i] = reachY;
            image->halfWidth = std::min(image->halfWidth, 0.5 / std::fabs(alongX));
        }
    }
    // A pixel's centre is within a pixel's own extents of the image if the pixel touches it.
    const double u = 0.5 + (std::fabs(xx) + std::fabs(xy)) / 2;
    const double v = 0.5 + (std::fabs(yx) + std::fabs(yy)) / 2;
    xx /= u;
    xy /= u;
    yx /= v;
    yy /= v;
}

KernelTable::KernelTable(Sampler sampler) : m_values(Steps + 1) {
    for (int i = 0; i < Steps; ++i) {
        m_values[static_cast<std::size_t>(i)] = static_cast<float>(
            EvaluateFilter(sampler, static_cast<double>(i) / Steps * GetFilterReach(sampler)));
    }
}

PhaseTable::PhaseTable(Sampler sampler, double reach)
    : m_reach(reach),
      m_count(static_cast<std::size_t>(std::ceil(2 * reach - 1e-9))),
      m_paddedCount((m_count + 15) / 16 * 16),
      m_weights(m_paddedCount * 2 * (PhaseCount + 1)) {
    const double scale = GetFilterReach(sampler) / reach;
    for (std::size_t phase = 0; phase <= PhaseCount; ++phase) {
        const double begin = static_cast<double>(phase) / PhaseCount + reach - 1;
        float* const weights = m_weights.data() + phase * m_paddedCount * 2;
        std::vector<double> values(m_count);
        double sum = 0;
        for (std::size_t k = 0; k < m_count; ++k) {
            values[k] = EvaluateFilter(sampler, std::fabs(static_cast<double>(k) - begin) * scale);
            sum += values[k];
        }
        for (std::size_t k = 0; k < m_count; ++k) {
            weights[k] = static_cast<float>(values[k] / sum);
            if (phase > 0) {
                (weights - m_paddedCount)[k] = weights[k] - (weights - 2 * m_paddedCount)[k];
            }
        }
    }
}

}  // namespace Raster
