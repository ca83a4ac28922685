// Taps and weights of resampling filters, along one axis.

#pragma once

#include "Raster/Sampler.h"

#include <cstddef>
#include <vector>

namespace Raster {

/// The filter kernel at `distance` pixels from its centre. Not for Area and Nearest, which are not
/// functions of a distance.
double EvaluateFilter(Sampler sampler, double distance) noexcept;
/// The support of the kernel: the distance from which on it is 0.
int GetFilterReach(Sampler sampler) noexcept;

/// The part of a pixel that a picture covers, 0..1. What rounding adds to edges is left out.
double SnapCoverage(double covered) noexcept;

/// One axis of a map from the destination to the source: a pixel's centre `c` comes from
/// `scale * c + offset`.
struct AxisMap {
    double scale;
    double offset;
};

/// The taps of a destination pixel and those to the right of it or below: for each, `count` source
/// pixels from `first` on and their weights, which add up to the part of the destination pixel that
/// the source covers.
struct Taps {
    const int* first;
    const float* weights;
    std::size_t count;
};

/// The taps of neighbouring destination pixels.
class FilterTaps {
public:
    /// For the pixels from `begin` up to `end`, over a source of `size` pixels. The count of each
    /// pixel's taps is rounded up to a multiple of `group`, with weights of 0. Such taps may lie
    /// beyond the source, unless `group` is 1.
    FilterTaps(Sampler sampler, AxisMap map, int begin, int end, int size, std::size_t group);

    /// The destination pixels that the source covers, in part or whole; the others have no taps.
    int GetBegin() const noexcept { return m_begin; }
    int GetEnd() const noexcept { return m_begin + static_cast<int>(m_first.size()); }
    /// The same for all.
    std::size_t GetCount() const noexcept { return m_count; }
    Taps Get(int pixel) const noexcept;

private:
    void Spread(const std::vector<float>& values, const std::vector<std::size_t>& ends, int last);

    int m_begin = 0;
    std::size_t m_count = 0;
    std::vector<int> m_first;
    std::vector<float> m_weights;
};

}  // namespace Raster
