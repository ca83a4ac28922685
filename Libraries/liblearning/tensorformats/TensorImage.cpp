#include "tensorformats/TensorImage.h"

#include "tensorformats/TensorElements.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <stdexcept>

namespace Learning {

namespace {

using Raster::MaximumSpanLength;

/// A run of pixels, each channel by itself.
class Planes {
public:
    std::array<float*, 4> GetPointers() noexcept {
        return {m_samples[0].data(), m_samples[1].data(), m_samples[2].data(), m_samples[3].data()};
    }

private:
    alignas(64) std::array<std::array<float, MaximumSpanLength>, 4> m_samples;
};

constexpr std::array<float, MaximumSpanLength> Zeros{};
constexpr std::array<float, MaximumSpanLength> Ones = [] {
    std::array<float, MaximumSpanLength> ones{};
    ones.fill(1);
    return ones;
}();

constexpr std::array<std::uint8_t, 4> InOrder{0, 1, 2, 3};
constexpr std::array<std::uint8_t, 3> Reversed{2, 1, 0};
constexpr std::array<std::uint8_t, 1> AlphaAlone{3};

std::span<const std::uint8_t> GetPicks(TensorChannels channels, std::size_t channelCount) {
    const std::span inOrder(InOrder);
    switch (channels) {
        case TensorChannels::ByCount:
            return inOrder.first(
                channelCount == 1 || channelCount == 3 || channelCount == 4 ? channelCount : 0);
        case TensorChannels::Grey:
            return inOrder.first(1);
        case TensorChannels::RGB:
            return inOrder.first(3);
        case TensorChannels::BGR:
            return Reversed;
        case TensorChannels::RGBA:
            return inOrder;
        case TensorChannels::Alpha:
            return AlphaAlone;
    }
    return {};
}

bool HasWayBack(const ChannelMapping& mapping) {
    return std::isfinite(mapping.range) && mapping.range != 0 && std::isfinite(mapping.mean) &&
           std::isfinite(mapping.deviation) && mapping.deviation != 0;
}

}  // namespace

TensorImage::TensorImage(const Tensor& tensor, AxisOrder order, const TensorMapping& mapping)
    : m_elements(TensorElements::Get(tensor)), m_mappings(mapping.mappings) {
    TakeShape(tensor.GetDimensions(), order);
    m_picks = GetPicks(mapping.channels, m_channelCount);
    m_isGrey = m_picks.size() == 1 && m_picks.data() != AlphaAlone.data();
    if (m_picks.empty() || m_picks.size() != m_channelCount) {
        throw std::invalid_argument("the tensor does not have as many channels as the mapping");
    }
    if (!std::all_of(m_mappings.begin(), m_mappings.begin() + m_picks.size(), HasWayBack)) {
        throw std::invalid_argument(
            "the mapping of a channel has a range or a deviation of 0, or what is no number");
    }
    m_area = mapping.tensorArea.value_or(Raster::Rect{0, 0, m_width, m_height});
    if (m_area.IsEmpty() || m_area.Intersect({0, 0, m_width, m_height}) != m_area) {
        throw std::invalid_argument("the area is not inside the tensor, or is empty");
    }
}

void TensorImage::TakeShape(const std::vector<int>& dimensions, AxisOrder order) {
    const auto isOne = [](int dimension) { return dimension == 1; };
    const auto axes = dimensions.end() - std::min<std::ptrdiff_t>(3, std::ssize(dimensions));
    if (dimensions.size() < 3 || !std::all_of(dimensions.begin(), axes, isOne) ||
        *std::min_element(axes, dimensions.end()) < 1) {
        throw std::invalid_argument("the tensor has not the shape of one picture");
    }
    const bool isCHW = order == AxisOrder::CHW;
    m_channelCount = static_cast<std::size_t>(isCHW ? axes[0] : axes[2]);
    m_height = isCHW ? axes[1] : axes[0];
    m_width = isCHW ? axes[2] : axes[1];
    m_isPlanar = isCHW || m_channelCount == 1;
    if (m_elements.size() / m_channelCount / static_cast<std::size_t>(m_height) <
        static_cast<std::size_t>(m_width)) {
        throw std::invalid_argument("the tensor has fewer elements than its shape");
    }
}

float* TensorImage::At(std::size_t channel, int x, int y) const noexcept {
    const auto width = static_cast<std::size_t>(m_width);
    const std::size_t pixel = static_cast<std::size_t>(m_area.top + y) * width +
                              static_cast<std::size_t>(m_area.left + x);
    return m_elements.data() + (m_isPlanar
                                    ? channel * width * static_cast<std::size_t>(m_height) + pixel
                                    : channel + pixel * m_channelCount);
}

void TensorImage::Load(int x, int y, std::size_t count, float* rgba) const {
    assert(count <= MaximumSpanLength);
    Planes scratch;
    const std::array<float*, 4> channels = scratch.GetPointers();
    if (!m_isPlanar) {
        SplitPixels(At(0, x, y), m_channelCount, count, channels);
    }
    std::array<const float*, 4> planes{Zeros.data(), Zeros.data(), Zeros.data(), Ones.data()};
    for (std::size_t i = 0; i < m_channelCount; ++i) {
        UnmapSamples(m_isPlanar ? At(i, x, y) : channels[i], m_mappings[i], count, channels[i]);
        planes[m_picks[i]] = channels[i];
    }
    if (m_isGrey) {
        planes[1] = planes[2] = planes[0];
    }
    JoinPixels(planes, 4, count, rgba);
}

void TensorImage::Store(int x, int y, std::size_t count, const float* rgba) const {
    assert(count <= MaximumSpanLength);
    Planes scratch;
    const std::array<float*, 4> planes = scratch.GetPointers();
    SplitPixels(rgba, 4, count, planes);
    if (m_isGrey) {
        MixLuma(planes, count, planes[0]);
    }
    std::array<const float*, 4> channels{};
    for (std::size_t i = 0; i < m_channelCount; ++i) {
        float* const plane = planes[m_picks[i]];
        channels[i] = plane;
        MapSamples(plane, m_mappings[i], count, m_isPlanar ? At(i, x, y) : plane);
    }
    if (!m_isPlanar) {
        JoinPixels(channels, m_channelCount, count, At(0, x, y));
    }
}

bool TensorImage::HasDirectWay(const Raster::PixelFormat& format) const noexcept {
    return m_isPlanar && m_picks.size() == 3 && format.code == Raster::Format::RGBA8;
}

PlaneBlock TensorImage::GetPlanes(int x, int y) const {
    PlaneBlock block{{}, {}, m_width};
    for (std::size_t i = 0; i < block.planes.size(); ++i) {
        block.planes[m_picks[i]] = At(i, x, y);
        block.mappings[m_picks[i]] = m_mappings[i];
    }
    return block;
}

void TensorImage::FillFrom(const Raster::ConstPixelView& source, const Raster::Rect& rect) const {
    ConvertBytesToPlanes({source.At(rect.left, rect.top), source.stride},
                         GetPlanes(rect.left, rect.top), static_cast<std::size_t>(rect.GetWidth()),
                         static_cast<std::size_t>(rect.GetHeight()),
                         m_elements.size_bytes() > Raster::CacheShare);
}

void TensorImage::ReadInto(const Raster::PixelView& target, const Raster::Rect& rect) const {
    const std::size_t size = target.format->GetPixelSize() *
                             static_cast<std::size_t>(target.width) *
                             static_cast<std::size_t>(target.height);
    ConvertPlanesToBytes(GetPlanes(rect.left, rect.top),
                         {target.At(rect.left, rect.top), target.stride},
                         static_cast<std::size_t>(rect.GetWidth()),
                         static_cast<std::size_t>(rect.GetHeight()), size > Raster::CacheShare);
}

}  // namespace Learning
