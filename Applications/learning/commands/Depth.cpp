#include "commands/Commands.h"
#include "commands/PhotoCommand.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace LearningApp {

namespace {

using Learning::Tensor;

struct Range {
    float low;
    float high;
};

/// From the 1st to the 99th percentile, so that a few outliers do not compress the rest.
Range FindUsualRange(const Tensor& tensor, std::uint64_t count) {
    std::vector<float> values;
    for (std::uint64_t i = 0; i < count; ++i) {
        const float value = tensor.GetValueAtIndexedSubscript(i);
        if (std::isfinite(value)) {
            values.push_back(value);
        }
    }
    if (values.empty()) {
        return {0, 0};
    }
    const auto find = [&values](std::size_t percent) {
        const auto place = static_cast<std::ptrdiff_t>((values.size() - 1) * percent / 100);
        std::nth_element(values.begin(), values.begin() + place, values.end());
        return values[static_cast<std::size_t>(place)];
    };
    return {find(1), find(99)};
}

/// How wide the range is; endless for a flat one, whose rounding noise would look like depth.
float GetWidth(const Range& range) {
    constexpr float Noise = 1e-5F;
    constexpr float Endless = std::numeric_limits<float>::max();
    const float width = range.high - range.low;
    const float magnitude = std::max(std::abs(range.high), std::abs(range.low));
    return width > Noise * magnitude ? std::min(width, Endless) : Endless;
}

}  // namespace

void EstimateDepth(const Host& host, const PhotoTask& task) {
    using namespace DepthEstimation;  // NOLINT(google-build-using-namespace): a table of facts
    const auto [photo, colours, network] = Begin(host, task, ModelType::DepthEstimation);
    const auto image = MakeTensor({1, 3, Side, Side});
    Learning::FillTensorCHW(*image, *photo, {.stages = colours.toNetwork});
    const auto depth = MakeTensor({1, 1, Side, Side});
    network.Run({{Input, image}}, {{Output, depth}});

    // Deliberate: written as it is, whatever the profile. The numbers are depth, not colours.
    const Range range = FindUsualRange(*depth, std::uint64_t{Side} * Side);
    Learning::TensorMapping mapping;
    mapping.mappings[0] = {.range = -GetWidth(range), .mean = -range.high};  // near is bright
    Learning::ReadTensorCHW(*depth, *photo, mapping);
    Finish(host, task, *photo);
}

}  // namespace LearningApp
