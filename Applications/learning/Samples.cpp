#include "Samples.h"

namespace LearningApp {

namespace {

/// The flat index of the first sample of a row in a tensor of shape {1, channels, height, width}.
std::uint64_t GetRowStart(const std::vector<int>& shape, int channel, int y) {
    const auto row = static_cast<std::uint64_t>(channel) * static_cast<std::uint64_t>(shape[2]) +
                     static_cast<std::uint64_t>(y);
    return row * static_cast<std::uint64_t>(shape[3]);
}

/// One channel, for which `get` reads a pixel's four bytes.
template <class Get>
RowSource ReadChannel(const Raster::Picture& picture, Get get) {
    return {GetSize(picture), 1, [&picture, get](int y, float weight, std::span<float> sum) {
                const std::uint8_t* pixel = picture.GetRow(y).data();
                for (float& sample : sum) {
                    sample += weight * get(pixel);
                    pixel += Raster::Picture::ChannelCount;
                }
            }};
}

}  // namespace

RowSource ReadColours(const Raster::Picture& picture) {
    return {GetSize(picture), 3, [&picture](int y, float weight, std::span<float> sum) {
                const std::uint8_t* pixel = picture.GetRow(y).data();
                const auto width = static_cast<std::size_t>(picture.GetWidth());
                for (std::size_t x = 0; x < width; ++x) {
                    sum[x] += weight * ToSample(pixel[0]);
                    sum[x + width] += weight * ToSample(pixel[1]);
                    sum[x + 2 * width] += weight * ToSample(pixel[2]);
                    pixel += Raster::Picture::ChannelCount;
                }
            }};
}

RowSource ReadLuma(const Raster::Picture& picture) {
    return ReadChannel(picture, GetLuma);
}

RowSource ReadAlpha(const Raster::Picture& picture) {
    return ReadChannel(picture, [](const std::uint8_t* pixel) { return ToSample(pixel[3]); });
}

RowSource ReadPlanes(const Learning::Tensor& tensor) {
    const std::vector<int> shape = tensor.GetDimensions();
    return {{shape[3], shape[2]},
            shape[1],
            [&tensor, shape](int y, float weight, std::span<float> sum) {
                const auto width = static_cast<std::size_t>(shape[3]);
                for (int channel = 0; channel < shape[1]; ++channel) {
                    const std::uint64_t start = GetRowStart(shape, channel, y);
                    float* const target = sum.data() + static_cast<std::size_t>(channel) * width;
                    for (std::size_t x = 0; x < width; ++x) {
                        target[x] += weight * tensor.GetValueAtIndexedSubscript(start + x);
                    }
                }
            }};
}

RowSink WritePlanes(Learning::Tensor& tensor, const Normalisation& normalisation) {
    const std::vector<int> shape = tensor.GetDimensions();
    return [&tensor, normalisation, shape](int y, std::span<const float> row) {
        const std::size_t width = row.size() / static_cast<std::size_t>(shape[1]);
        for (int channel = 0; channel < shape[1]; ++channel) {
            const auto index = static_cast<std::size_t>(channel);
            const float mean = normalisation.mean[index];
            const float deviation = normalisation.deviation[index];
            const std::uint64_t start = GetRowStart(shape, channel, y);
            for (std::size_t x = 0; x < width; ++x) {
                const float sample = row[index * width + x];
                tensor.SetValueAtIndexedSubscript(start + x, (255 * sample - mean) / deviation);
            }
        }
    };
}

}  // namespace LearningApp
