#include "Commands.h"
#include "Files.h"
#include "Painting.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace LearningApp {

namespace {

using Learning::Tensor;

struct Range {
    float low;
    float high;
};

/// From the 1st to the 99th percentile: a few wild values must not make the rest look flat.
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

/// What makes the range 1 wide; 0 for a flat one, whose rounding noise would look like depth.
float GetContrast(const Range& range) {
    constexpr float Noise = 1e-5F;
    const float width = range.high - range.low;
    const float magnitude = std::max(std::abs(range.high), std::abs(range.low));
    return width > Noise * magnitude ? 1 / width : 0;
}

}  // namespace

void EstimateDepth(const Host& host, const PhotoOptions& options) {
    using namespace DepthEstimation;  // NOLINT(google-build-using-namespace): a table of facts
    CheckPictureTarget(options.output);
    const auto photo = LoadPhoto(options.photo);
    const auto image = MakeTensor({1, 3, Side, Side});
    Learning::FillTensorCHW(*image, *photo);
    const auto depth = MakeTensor({1, 1, Side, Side});
    host.GetNetwork(ModelType::DepthEstimation).Run({{Input, image}}, {{Output, depth}});

    const Range range = FindUsualRange(*depth, std::uint64_t{Side} * Side);
    const float contrast = GetContrast(range);
    PaintPlanes(*depth, *photo, [&](std::span<float, 4> pixel, std::span<const float, 4> samples) {
        std::fill_n(pixel.begin(), 3, (range.high - samples[0]) * contrast);  // near is bright
        pixel[3] = 1;
    });
    SavePicture(*photo, options.output);
    host.GetOut() << "wrote " << options.output << '\n';
}

}  // namespace LearningApp
