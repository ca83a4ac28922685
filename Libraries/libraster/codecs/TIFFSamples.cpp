#include "codecs/TIFFSamples.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Raster {

namespace {

template <class Sample>
Sample LoadSample(const std::byte* from) noexcept {
    Sample sample;
    std::memcpy(&sample, from, sizeof sample);
    return sample;
}

template <class Sample>
void StoreSample(std::byte* to, Sample sample) noexcept {
    std::memcpy(to, &sample, sizeof sample);
}

template <class Sample>
constexpr Sample FullSample = std::is_floating_point_v<Sample> ? Sample{1}
                                                               : std::numeric_limits<Sample>::max();

/// `premultiplied` / `alpha`, rounded, where 1 is FullSample.
template <class Sample>
Sample Straighten(Sample premultiplied, Sample alpha) noexcept {
    if constexpr (std::is_floating_point_v<Sample>) {
        return premultiplied / alpha;
    } else {
        constexpr std::uint64_t Maximum = FullSample<Sample>;
        const std::uint64_t straight = (premultiplied * Maximum + alpha / 2) / alpha;
        return static_cast<Sample>(std::min(straight, Maximum));
    }
}

/// What the channels of one kind of sample need besides being copied.
template <class Sample>
struct SampleRule {
    Sample scale;
    bool isInverted;

    Sample operator()(Sample sample) const noexcept {
        const auto scaled = static_cast<Sample>(sample * scale);
        return isInverted ? static_cast<Sample>(FullSample<Sample> - scaled) : scaled;
    }
};

/// Divides the colours of `count` pixels by their alpha.
template <class Sample>
void StraightenPixels(std::byte* pixels, std::size_t colourCount, std::size_t count) noexcept {
    const std::size_t pixelSize = (colourCount + 1) * sizeof(Sample);
    for (std::size_t i = 0; i < count; ++i, pixels += pixelSize) {
        const auto alpha = LoadSample<Sample>(pixels + colourCount * sizeof(Sample));
        for (std::size_t channel = 0; channel < colourCount; ++channel) {
            std::byte* const colour = pixels + channel * sizeof(Sample);
            const auto premultiplied = LoadSample<Sample>(colour);
            StoreSample(colour, alpha > Sample{} ? Straighten(premultiplied, alpha) : Sample{});
        }
    }
}

}  // namespace

std::size_t TIFFSamples::GetPlaneCount() const noexcept {
    std::size_t count = 0;
    for (const TIFFLayout::Channel& channel : m_layout.channels) {
        count = std::max(count, channel.plane + 1);
    }
    return count;
}

void TIFFSamples::Compose(const Planes& planes, std::size_t count, std::byte* pixels) {
    if (m_layout.bitCount == 32) {
        ComposeAs<float>(planes, count, pixels);
    } else if (m_layout.bitCount < 16) {
        const Planes bytes = m_layout.bitCount == 8 ? planes : Unpack(planes, count);
        m_layout.palette.empty() ? ComposeAs<std::uint8_t>(bytes, count, pixels)
                                 : LookUp(bytes, count, pixels);
    } else if (m_layout.format != Format::CMYKA8) {
        ComposeAs<std::uint16_t>(planes, count, pixels);
    } else {  // there is no format for inks of 16 bits
        m_inks.resize(count * 5 * sizeof(std::uint16_t));
        ComposeAs<std::uint16_t>(planes, count, m_inks.data());
        for (std::size_t i = 0; i < count * 5; ++i) {
            const auto ink = LoadSample<std::uint16_t>(m_inks.data() + i * sizeof(std::uint16_t));
            pixels[i] = static_cast<std::byte>((ink * 255U + 32767U) / 65535U);
        }
    }
}

TIFFSamples::Planes TIFFSamples::Unpack(const Planes& planes, std::size_t count) {
    const auto bitCount = static_cast<std::size_t>(m_layout.bitCount);
    const std::size_t perByte = 8 / bitCount;
    const unsigned mask = (1U << bitCount) - 1;
    Planes bytes{};
    for (std::size_t plane = 0; plane < planes.size(); ++plane) {
        if (planes[plane] == nullptr) {
            continue;
        }
        m_unpacked[plane].resize(count * m_layout.sampleCount);
        for (std::size_t i = 0; i < m_unpacked[plane].size(); ++i) {
            const auto packed = std::to_integer<unsigned>(planes[plane][i / perByte]);
            const std::size_t shift = 8 - bitCount * (i % perByte + 1);
            m_unpacked[plane][i] = static_cast<std::byte>(packed >> shift & mask);
        }
        bytes[plane] = m_unpacked[plane].data();
    }
    return bytes;
}

template <class Sample>
void TIFFSamples::ComposeAs(const Planes& planes, std::size_t count, std::byte* pixels) const {
    const std::size_t colourCount = m_layout.colourCount;
    const std::size_t pixelSize = (colourCount + 1) * sizeof(Sample);
    const std::size_t step = m_layout.sampleCount * sizeof(Sample);
    const auto scale =
        static_cast<Sample>(m_layout.bitCount < 8 ? 255 / ((1 << m_layout.bitCount) - 1) : 1);
    for (std::size_t i = 0; i <= colourCount; ++i) {
        std::byte* target = pixels + i * sizeof(Sample);
        if (i == colourCount && !m_layout.hasAlpha) {
            for (std::size_t x = 0; x < count; ++x, target += pixelSize) {
                StoreSample(target, FullSample<Sample>);
            }
            continue;
        }
        const SampleRule<Sample> rule{scale, m_layout.isInverted && i != colourCount};
        const TIFFLayout::Channel& channel = m_layout.channels[i];
        const std::byte* source = planes[channel.plane] + channel.sample * sizeof(Sample);
        for (std::size_t x = 0; x < count; ++x, target += pixelSize, source += step) {
            StoreSample(target, rule(LoadSample<Sample>(source)));
        }
    }
    if (m_layout.isPremultiplied) {
        StraightenPixels<Sample>(pixels, colourCount, count);
    }
}

void TIFFSamples::LookUp(const Planes& planes, std::size_t count, std::byte* pixels) const {
    const TIFFLayout::Channel& channel = m_layout.channels[0];
    const std::byte* source = planes[channel.plane] + channel.sample;
    for (std::size_t x = 0; x < count; ++x, source += m_layout.sampleCount, pixels += 4) {
        const auto& entry = m_layout.palette[std::to_integer<std::size_t>(*source)];
        std::ranges::copy(std::as_bytes(std::span(entry)), pixels);
        pixels[3] = std::byte{255};
    }
}

}  // namespace Raster
