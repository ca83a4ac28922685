#include "resampling/FilterTaps.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Raster {

namespace {

double Triangle(double x) noexcept {
    return std::max(0.0, 1 - x);
}

/// Keys, "Cubic convolution interpolation for digital image processing" (1981).
double Cubic(double x) noexcept {
    constexpr double A = -0.5;
    if (x < 1) {
        return ((A + 2) * x - (A + 3)) * x * x + 1;
    }
    return x < 2 ? ((A * x - 5 * A) * x + 8 * A) * x - 4 * A : 0;
}

double Lanczos(double x) noexcept {
    constexpr int Lobes = 3;
    if (x >= Lobes || (x > 0 && x == std::floor(x))) {
        return 0;  // exactly 0 at whole numbers, so that a translation by whole pixels is exact
    }
    const double angle = std::numbers::pi * x;
    return x < 1e-8 ? 1 : Lobes * std::sin(angle) * std::sin(angle / Lobes) / (angle * angle);
}

/// The footprint of the filter around one point, the edges included.
struct Reach {
    double centre;
    double scale;  // source pixels to a unit of the filter
    double radius;

    double First() const noexcept { return std::ceil(centre - radius - 0.5); }
    double Last() const noexcept { return std::floor(centre + radius - 0.5); }
};

/// The coverage of the pixel from `at` to `at` + 1 by the footprint.
double Cover(const Reach& reach, double at) noexcept {
    return std::max(0.0, std::min(at + 1, reach.centre + reach.radius) -
                             std::max(at, reach.centre - reach.radius));
}

Reach MakeReach(Sampler sampler, double centre, double step, int size) noexcept {
    // Clamped to the size of the source, and above 0, since an empty footprint has no mean.
    const double scale = std::clamp(std::fabs(step), 1e-6, std::max(1.0, double{1} * size));
    if (sampler == Sampler::Area) {
        return {centre, scale, scale / 2};
    }
    const double widened = std::max(1.0, scale);
    return {centre, widened, widened * GetFilterReach(sampler)};
}

/// Weights of the pixels from `first` on. Edge mode: clamp, weights beyond the source are added to
/// that of its edge pixel.
struct Weights {
    int first;
    std::vector<double> values;
};

void Gather(Sampler sampler, const Reach& reach, int size, Weights& weights) {
    // A box footprint includes every pixel that it overlaps, not only those whose centre is inside.
    const double margin = sampler == Sampler::Area ? 1 : 0;
    const double low = reach.First() - margin;
    const double high = reach.Last() + margin;
    const double edge = size - 1;
    weights.first = static_cast<int>(std::clamp(low, 0.0, edge));
    weights.values.assign(static_cast<std::size_t>(std::clamp(high, 0.0, edge)) + 1 -
                              static_cast<std::size_t>(weights.first),
                          0);
    double sum = 0;
    const auto count = static_cast<long long>(high - low) + 1;
    for (long long i = 0; i < count; ++i) {
        const double at = low + static_cast<double>(i);
        const double weight =
            sampler == Sampler::Area
                ? Cover(reach, at)
                : EvaluateFilter(sampler, std::fabs(at + 0.5 - reach.centre) / reach.scale);
        const auto index = static_cast<std::size_t>(std::clamp(at, 0.0, edge) - weights.first);
        weights.values[index] += weight;
        sum += weight;
    }
    for (double& value : weights.values) {
        value /= sum;
    }
}

/// Trims zero weights at both ends.
void Trim(Weights& weights) {
    const auto isZero = [](double value) { return value == 0; };
    auto& values = weights.values;
    values.erase(std::find_if_not(values.rbegin(), values.rend(), isZero).base(), values.end());
    const auto begin = std::ranges::find_if_not(values, isZero);
    weights.first += static_cast<int>(begin - values.begin());
    values.erase(values.begin(), begin);
}

}  // namespace

double EvaluateFilter(Sampler sampler, double distance) noexcept {
    switch (sampler) {
        case Sampler::Bicubic:
            return Cubic(distance);
        case Sampler::Lanczos:
            return Lanczos(distance);
        default:
            return Triangle(distance);
    }
}

int GetFilterReach(Sampler sampler) noexcept {
    switch (sampler) {
        case Sampler::Bicubic:
            return 2;
        case Sampler::Lanczos:
            return 3;
        default:
            return 1;
    }
}

FilterTaps::FilterTaps(Sampler sampler, AxisMap map, int begin, int end, int size,
                       std::size_t group)
    : m_begin(begin) {
    const auto centreOf = [map](int pixel) { return map.scale * (pixel + 0.5) + map.offset; };
    const auto isInside = [&](int pixel) { return centreOf(pixel) >= 0 && centreOf(pixel) < size; };
    while (m_begin < end && !isInside(m_begin)) {
        ++m_begin;
    }
    Weights weights;
    std::vector<float> values;
    std::vector<std::size_t> ends;
    for (int pixel = m_begin; pixel < end && isInside(pixel); ++pixel) {
        Gather(sampler, MakeReach(sampler, centreOf(pixel), map.scale, size), size, weights);
        Trim(weights);
        m_first.push_back(weights.first);
        values.insert(values.end(), weights.values.begin(), weights.values.end());
        ends.push_back(values.size());
        m_count = std::max(m_count, weights.values.size());
    }
    m_count = (m_count + group - 1) / group * group;
    // First taps of groups are not moved, since the summation order depends on them: a pixel must
    // not depend on the other pixels of the request.
    Spread(values, ends, group > 1 ? size : size - static_cast<int>(m_count));
}

void FilterTaps::Spread(const std::vector<float>& values, const std::vector<std::size_t>& ends,
                        int last) {
    m_weights.resize(ends.size() * m_count);
    std::size_t from = 0;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        const int first = std::min(m_first[i], last);
        std::copy(values.data() + from, values.data() + ends[i],
                  m_weights.data() + i * m_count + (m_first[i] - first));
        m_first[i] = first;
        from = ends[i];
    }
}

Taps FilterTaps::Get(int pixel) const noexcept {
    const auto index = static_cast<std::size_t>(pixel - m_begin);
    return {m_first.data() + index, m_weights.data() + index * m_count, m_count};
}

}  // namespace Raster
