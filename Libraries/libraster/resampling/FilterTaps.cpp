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
    // Above 0, since an empty footprint has no mean.
    const double scale = std::max(1e-6, std::fabs(step));
    if (sampler == Sampler::Area) {
        return {centre, scale, scale / 2};
    }
    // The centre of a pixel that is covered in part may lie beyond the source, where too few taps
    // would be left.
    const double widened = std::max(1.0, scale);
    return {std::clamp(centre, 0.0, double{1} * size), widened, widened * GetFilterReach(sampler)};
}

/// Weights of the pixels from `first` on.
struct Weights {
    int first;
    std::vector<double> values;
};

/// The weights of pixels in the source, which add up to `whole`: those beyond it do not count.
void Gather(Sampler sampler, const Reach& reach, int size, double whole, Weights& weights) {
    // A box footprint includes every pixel that it overlaps, not only those whose centre is inside.
    const double margin = sampler == Sampler::Area ? 1 : 0;
    const double edge = size - 1;
    const double low = std::clamp(reach.First() - margin, 0.0, edge);
    const double high = std::clamp(reach.Last() + margin, low, edge);
    weights.first = static_cast<int>(low);
    weights.values.clear();
    double sum = 0;
    for (int i = weights.first; i <= static_cast<int>(high); ++i) {
        const double weight =
            sampler == Sampler::Area
                ? Cover(reach, i)
                : EvaluateFilter(sampler, std::fabs(i + 0.5 - reach.centre) / reach.scale);
        weights.values.push_back(weight);
        sum += weight;
    }
    if (!(sum > 0)) {  // coordinates so large that the footprint is lost in rounding
        weights.values.assign(1, 1.0);
        sum = 1;
    }
    for (double& value : weights.values) {
        value *= whole / sum;
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

double SnapCoverage(double covered) noexcept {
    constexpr double Rounding = 1e-6;  // of edges that are meant to be whole; as in MapRect()
    return covered > Rounding ? covered >= 1 - Rounding ? 1 : covered : 0;
}

FilterTaps::FilterTaps(Sampler sampler, AxisMap map, int begin, int end, int size,
                       std::size_t group)
    : m_begin(begin) {
    const auto [low, high] =
        std::minmax({-map.offset / map.scale, (size - map.offset) / map.scale});
    const auto cover = [low = low, high = high](int pixel) {
        return SnapCoverage(std::min(pixel + 1.0, high) - std::max(pixel + 0.0, low));
    };
    while (m_begin < end && cover(m_begin) == 0) {
        ++m_begin;
    }
    Weights weights;
    std::vector<float> values;
    std::vector<std::size_t> ends;
    for (int pixel = m_begin; pixel < end && cover(pixel) > 0; ++pixel) {
        const double centre = map.scale * (pixel + 0.5) + map.offset;
        Gather(sampler, MakeReach(sampler, centre, map.scale, size), size, cover(pixel), weights);
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
