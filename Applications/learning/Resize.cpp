#include "Resize.h"

#include "Kernel/Dispatch.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace LearningApp {

namespace {

/// For each sample of the result along one axis, the source samples that count, and how much.
class AxisFilter {
public:
    struct Taps {
        int start;
        std::span<const float> weights;  // their sum is 1
    };

    AxisFilter(int sourceSize, int size) {
        const double step = static_cast<double>(sourceSize) / size;
        const double reach = std::max(step, 1.0);
        for (int i = 0; i < size; ++i) {
            AddTaps((i + 0.5) * step, reach, sourceSize);
        }
    }

    Taps GetTaps(int i) const {
        const Range& range = m_ranges[static_cast<std::size_t>(i)];
        return {range.start, std::span(m_weights).subspan(range.firstWeight, range.count)};
    }

private:
    struct Range {
        int start;
        std::size_t firstWeight;
        std::size_t count;
    };

    void AddTaps(double centre, double reach, int sourceSize) {
        const int start = std::max(0, static_cast<int>(std::floor(centre - reach)));
        const int end = std::min(sourceSize, static_cast<int>(std::ceil(centre + reach)));
        const std::size_t first = m_weights.size();
        double sum = 0;
        for (int i = start; i < end; ++i) {
            const double weight = std::max(0.0, 1 - std::abs(i + 0.5 - centre) / reach);
            m_weights.push_back(static_cast<float>(weight));
            sum += weight;
        }
        for (std::size_t i = first; i < m_weights.size(); ++i) {
            m_weights[i] = static_cast<float>(m_weights[i] / sum);
        }
        m_ranges.push_back({start, first, m_weights.size() - first});
    }

    std::vector<Range> m_ranges;
    std::vector<float> m_weights;
};

}  // namespace

void Resize(const RowSource& source, Size size, const RowSink& sink) {
    const AxisFilter across(source.size.width, size.width);
    const AxisFilter down(source.size.height, size.height);
    ForEachRow(size.height, [&](int y) {
        // Down first: that pass runs along whole rows, and its result is one row.
        const auto sourceWidth = static_cast<std::size_t>(source.size.width);
        const auto channels = static_cast<std::size_t>(source.channels);
        std::vector<float> sums(channels * sourceWidth);
        const AxisFilter::Taps rows = down.GetTaps(y);
        for (std::size_t i = 0; i < rows.weights.size(); ++i) {
            if (rows.weights[i] != 0) {
                source.add(rows.start + static_cast<int>(i), rows.weights[i], sums);
            }
        }
        std::vector<float> row;
        row.reserve(channels * static_cast<std::size_t>(size.width));
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const float* const plane = sums.data() + channel * sourceWidth;
            for (int x = 0; x < size.width; ++x) {
                const AxisFilter::Taps taps = across.GetTaps(x);
                row.push_back(std::inner_product(taps.weights.begin(), taps.weights.end(),
                                                 plane + taps.start, 0.0F));
            }
        }
        sink(y, row);
    });
}

Size FitLongSide(Size size, int side) {
    const double scale = static_cast<double>(side) / std::max(size.width, size.height);
    const auto fit = [scale](int length) {
        return std::max(1, static_cast<int>(std::lround(length * scale)));
    };
    return {fit(size.width), fit(size.height)};
}

void ForEachRow(int height, const std::function<void(int y)>& job) {
    std::vector<int> rows(static_cast<std::size_t>(height));
    std::iota(rows.begin(), rows.end(), 0);
    Kernel::Dispatch::DispatchParallelFor(job, rows.size(), rows.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
}

}  // namespace LearningApp
