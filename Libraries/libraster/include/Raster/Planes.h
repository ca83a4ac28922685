// Float samples in memory, in planes or interleaved, as the source and the target of pipelines.

#pragma once

#include "Raster/Spans.h"

#include <array>
#include <cstdint>
#include <type_traits>

namespace Raster {

/// What memory holds for the value v of a channel, 0..1: (v * range - mean) / deviation.
struct ChannelMapping {
    float range = 1;  // 255 for samples of 0..255
    float mean = 0;
    float deviation = 1;
};

/// The meaning of one channel: of a plane, or of each n-th of interleaved samples.
struct PlaneChannel {
    enum class Role : std::uint8_t { Red, Green, Blue, Alpha, Luma };

    Role role = Role::Red;
    ChannelMapping mapping{};
};

/// Float samples of pixels, not owned. Missing colours are 0 and missing alpha is 1; luma
/// (BT.601, of the encoded values) stands for equal red, green and blue.
template <class Sample>
struct BasicPlaneView {
    Sample* samples = nullptr;       // of the first channel of the first pixel
    std::ptrdiff_t stride = 0;       // floats from row to row
    std::ptrdiff_t planeStride = 0;  // floats from plane to plane; 0: interleaved, without gaps
    int width = 0;
    int height = 0;
    std::array<PlaneChannel, 4> channels{};
    std::size_t channelCount = 0;

    /// The sample of the first channel at (x, y), which is not checked.
    Sample* At(int x, int y) const noexcept {
        const bool isInterleaved = planeStride == 0;
        return samples + y * stride +
               x * (isInterleaved ? static_cast<std::ptrdiff_t>(channelCount) : 1);
    }

    // NOLINTNEXTLINE(google-explicit-constructor): reading needs less than writing
    operator BasicPlaneView<const Sample>() const noexcept requires(!std::is_const_v<Sample>) {
        return {samples, stride, planeStride, width, height, channels, channelCount};
    }
};
using PlaneView = BasicPlaneView<float>;
using ConstPlaneView = BasicPlaneView<const float>;

// Constructors throw std::invalid_argument unless there are one to four channels, no two of the
// same colour, and each mapping is invertible: all its numbers are finite, and neither range nor
// deviation is 0. Samples must outlive the object.

class RASTER_API PlaneSource final : public SpanSource {
public:
    explicit PlaneSource(const ConstPlaneView& view);
    void Read(int x, int y, std::size_t count, float* rgba) const override;
    // Direct from planes of red, green and blue, in any order, into RGBA8.
    bool HasDirectWayInto(const PixelFormat& format) const noexcept override;
    void ConvertInto(const PixelView& target, const Rect& rect) const override;

private:
    ConstPlaneView m_view;
};

/// What becomes of the colours of pixels whose alpha is 0 or less, or NaN.
enum class HiddenColours : std::uint8_t {
    Keep,
    Clear,  // colours and alpha become 0: a network must not see what a user has erased
};

class RASTER_API PlaneTarget final : public SpanTarget {
public:
    explicit PlaneTarget(const PlaneView& view, HiddenColours hidden = HiddenColours::Keep);
    void Write(int x, int y, std::size_t count, const float* rgba) override;
    void Read(int x, int y, std::size_t count, float* rgba) const override;
    // Direct from RGBA8 into planes of red, green and blue.
    bool HasDirectWayFrom(const PixelFormat& format) const noexcept override;
    void ConvertFrom(const ConstPixelView& source, const Rect& rect) override;

private:
    PlaneView m_view;
    HiddenColours m_hidden;
};

}  // namespace Raster
