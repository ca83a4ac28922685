// A tensor as the source and the target of pixel pipelines.

#pragma once

#include "Learning/TensorImages.h"
#include "Raster/Spans.h"

#include "tensorformats/TensorKernels.h"

#include <array>
#include <span>

namespace Learning {

/// The order of a tensor's last three axes, outermost first.
enum class AxisOrder { CHW, HWC };

/// The part of a tensor that stands for a picture. Pixels count from its top left corner.
class TensorImage {
public:
    /// Throws std::invalid_argument if the tensor has no such shape, or the mapping is none that
    /// has a way back.
    TensorImage(const Tensor& tensor, AxisOrder order, const TensorMapping& mapping);

    int GetWidth() const noexcept { return static_cast<int>(m_area.GetWidth()); }
    int GetHeight() const noexcept { return static_cast<int>(m_area.GetHeight()); }

    /// Converts `count` pixels from (x, y) to the right between samples and unit-float RGBA.
    void Load(int x, int y, std::size_t count, float* rgba) const;
    void Store(int x, int y, std::size_t count, const float* rgba) const;

    // The quick way, between planes of red, green and blue and RGBA8.
    bool HasDirectWay(const Raster::PixelFormat& format) const noexcept;
    void FillFrom(const Raster::ConstPixelView& source, const Raster::Rect& rect) const;
    void ReadInto(const Raster::PixelView& target, const Raster::Rect& rect) const;

private:
    void TakeShape(const std::vector<int>& dimensions, AxisOrder order);
    PlaneBlock GetPlanes(int x, int y) const;
    float* At(std::size_t channel, int x, int y) const noexcept;

    std::span<float> m_elements;
    std::size_t m_channelCount = 0;
    int m_width = 0;  // of the whole tensor
    int m_height = 0;
    bool m_isPlanar = false;
    std::span<const std::uint8_t> m_picks;  // what each channel is: 0 to 3 for red to alpha
    bool m_isGrey = false;                  // the one channel is luma instead
    std::array<ChannelMapping, 4> m_mappings;
    Raster::Rect m_area;
};

class TensorSource final : public Raster::SpanSource {
public:
    explicit TensorSource(const TensorImage& image) noexcept
        : SpanSource(image.GetWidth(), image.GetHeight()), m_image(image) {}

    void Read(int x, int y, std::size_t count, float* rgba) const override {
        m_image.Load(x, y, count, rgba);
    }
    bool HasDirectWayInto(const Raster::PixelFormat& format) const noexcept override {
        return m_image.HasDirectWay(format);
    }
    void ConvertInto(const Raster::PixelView& target, const Raster::Rect& rect) const override {
        m_image.ReadInto(target, rect);
    }

private:
    const TensorImage& m_image;
};

class TensorTarget final : public Raster::SpanTarget {
public:
    explicit TensorTarget(const TensorImage& image) noexcept : m_image(image) {}

    void Write(int x, int y, std::size_t count, const float* rgba) override {
        m_image.Store(x, y, count, rgba);
    }
    void Read(int x, int y, std::size_t count, float* rgba) const override {
        m_image.Load(x, y, count, rgba);
    }
    bool HasDirectWayFrom(const Raster::PixelFormat& format) const noexcept override {
        return m_image.HasDirectWay(format);
    }
    void ConvertFrom(const Raster::ConstPixelView& source, const Raster::Rect& rect) override {
        m_image.FillFrom(source, rect);
    }

private:
    const TensorImage& m_image;
};

}  // namespace Learning
