#include "Learning/TensorBitmap.h"

#include "tensorformats/TensorElements.h"

#include <cstring>
#include <stdexcept>

namespace Raster {

namespace {

constexpr std::size_t PixelSize = 4 * sizeof(float);

// The samples of a pixel are red, green, blue and alpha in this order, whatever their meaning; what
// is missing is 0, and alpha 1. A single one is grey.

void ReadSingles(const void* source, float* rgba, std::size_t count) {
    const auto* const samples = static_cast<const float*>(source);
    for (std::size_t i = 0; i < count; ++i) {
        rgba[4 * i] = rgba[4 * i + 1] = rgba[4 * i + 2] = samples[i];
        rgba[4 * i + 3] = 1;
    }
}

void WriteSingles(const float* rgba, void* destination, std::size_t count) {
    auto* const samples = static_cast<float*>(destination);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = rgba[4 * i];
    }
}

// Three samples at a time take twice as long as four, so that copies reach into the next pixel. The
// last pixel has none behind it.

void ReadTriples(const void* source, float* rgba, std::size_t count) {
    const auto* const samples = static_cast<const float*>(source);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(rgba + 4 * i, samples + 3 * i, i + 1 < count ? PixelSize : 3 * sizeof(float));
        rgba[4 * i + 3] = 1;
    }
}

void WriteTriples(const float* rgba, void* destination, std::size_t count) {
    auto* const samples = static_cast<float*>(destination);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(samples + 3 * i, rgba + 4 * i, i + 1 < count ? PixelSize : 3 * sizeof(float));
    }
}

void ReadQuadruples(const void* source, float* rgba, std::size_t count) {
    std::memcpy(rgba, source, count * PixelSize);
}

void WriteQuadruples(const float* rgba, void* destination, std::size_t count) {
    std::memcpy(destination, rgba, count * PixelSize);
}

constexpr FormatRules GetSpanRules(int channelCount) {
    return channelCount == 1   ? FormatRules{ReadSingles, WriteSingles}
           : channelCount == 3 ? FormatRules{ReadTriples, WriteTriples}
                               : FormatRules{ReadQuadruples, WriteQuadruples};
}

/// One for both layouts. Deliberate: without fragments, since elements are the host's.
template <class... Channels>
constexpr PixelFormat TensorFormat =
    MakePixelFormat<Channels...>(Format::Tensor, GetSpanRules(RealChannelCount<Channels...>));

/// Where width and height are among three dimensions.
template <class Layout>
struct SizeAxes;
template <>
struct SizeAxes<CHW> {
    static constexpr std::size_t Width = 2;
    static constexpr std::size_t Height = 1;
};
template <>
struct SizeAxes<HWC> {
    static constexpr std::size_t Width = 0;
    static constexpr std::size_t Height = 1;
};

void* GetStorage(const Kernel::Counted<Learning::Tensor>& source) {
    if (!source) {
        throw std::invalid_argument("there is no tensor to share");
    }
    return Learning::TensorElements::GetPlatformTensor(*source);
}

}  // namespace

template <class C1, class C2, class C3, class C4, class C5, class Layout>
Tensor<C1, C2, C3, C4, C5, Layout>::Tensor(std::vector<int> dimensions)
    : Learning::Tensor(std::move(dimensions)) {
    TakeSize();
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
Tensor<C1, C2, C3, C4, C5, Layout>::Tensor(Kernel::Counted<Learning::Tensor> source)
    : Learning::Tensor(GetStorage(source)) {
    TakeSize();
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
Tensor<C1, C2, C3, C4, C5, Layout>::Tensor(const Tensor& other) = default;

template <class C1, class C2, class C3, class C4, class C5, class Layout>
Tensor<C1, C2, C3, C4, C5, Layout>& Tensor<C1, C2, C3, C4, C5, Layout>::operator=(
    const Tensor& other) = default;

template <class C1, class C2, class C3, class C4, class C5, class Layout>
Tensor<C1, C2, C3, C4, C5, Layout>::~Tensor() = default;

template <class C1, class C2, class C3, class C4, class C5, class Layout>
Kernel::String Tensor<C1, C2, C3, C4, C5, Layout>::GetDescription() {
    return DescribeChannels("Tensor", ChannelFactsOf<C1, C2, C3, C4, C5>);
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
const PixelFormat& Tensor<C1, C2, C3, C4, C5, Layout>::GetPixelFormat() noexcept {
    return TensorFormat<C1, C2, C3, C4, C5>;
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
void Tensor<C1, C2, C3, C4, C5, Layout>::GetPixelAtIndexedSubscript(
    std::size_t i, PixelType& pixel) const noexcept {
    std::size_t element = i * PixelType::ChannelCount;
    for (float& sample : pixel.samples) {
        sample = GetValueAtIndexedSubscript(element++);
    }
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
void Tensor<C1, C2, C3, C4, C5, Layout>::SetPixelAtIndexedSubscript(
    std::size_t i, const PixelType& pixel) noexcept {
    std::size_t element = i * PixelType::ChannelCount;
    for (const float sample : pixel.samples) {
        SetValueAtIndexedSubscript(element++, sample);
    }
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
PixelView Tensor<C1, C2, C3, C4, C5, Layout>::GetHostView() {
    return {GetPixels(), GetStride(), m_width, m_height, &GetPixelFormat()};
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
ConstPixelView Tensor<C1, C2, C3, C4, C5, Layout>::GetHostView() const {
    return {GetPixels(), GetStride(), m_width, m_height, &GetPixelFormat()};
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
void Tensor<C1, C2, C3, C4, C5, Layout>::TakeSize() {
    std::vector<int> dimensions = GetDimensions();
    if (dimensions.size() < 2) {
        throw std::invalid_argument("a tensor bitmap needs two dimensions or more");
    }
    if (dimensions.size() == 2) {
        dimensions.push_back(1);
    }
    const auto last = dimensions.end() - 3;
    m_width = last[SizeAxes<Layout>::Width];
    m_height = last[SizeAxes<Layout>::Height];
    if (m_width < 0 || m_height < 0) {  // 64-bit dimensions that were cut
        throw std::invalid_argument("the dimensions of the tensor are no size of a bitmap");
    }
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
std::byte* Tensor<C1, C2, C3, C4, C5, Layout>::GetPixels() const {
    const std::span<float> elements = Learning::TensorElements::Get(*this);
    if (elements.size() / PixelType::ChannelCount <
        static_cast<std::uint64_t>(m_width) * static_cast<std::uint64_t>(m_height)) {
        throw std::length_error("the tensor has fewer elements than its pixels need");
    }
    return reinterpret_cast<std::byte*>(elements.data());
}

template <class C1, class C2, class C3, class C4, class C5, class Layout>
std::ptrdiff_t Tensor<C1, C2, C3, C4, C5, Layout>::GetStride() const noexcept {
    return static_cast<std::ptrdiff_t>(sizeof(PixelType)) * m_width;
}

#define LEARNING_TENSOR_FORMAT(C1, C2, C3, C4, C5, LAYOUT)                                   \
    ORVANTIS_INSTANTIATE(ModelBase<Tensor<C1, C2, C3, C4, C5, LAYOUT>, C1, C2, C3, C4, C5>); \
    ORVANTIS_INSTANTIATE(Tensor<C1, C2, C3, C4, C5, LAYOUT>);
#include "Learning/TensorFormats.inc"

}  // namespace Raster
