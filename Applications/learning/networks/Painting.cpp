#include "networks/Painting.h"

#include "Raster/PixelAccessor.h"
#include "Raster/Rendering.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <vector>

namespace LearningApp {

namespace {

/// Planes as colours, and a fourth one as alpha.
class PlaneSource final : public Raster::SpanSource {
public:
    explicit PlaneSource(const Learning::Tensor& tensor)
        : PlaneSource(tensor, tensor.GetDimensions()) {}

    void Read(int x, int y, std::size_t count, float* rgba) const override {
        std::uint64_t element = GetIndex(x, y);
        for (std::size_t i = 0; i < count; ++i, ++element, rgba += 4) {
            std::fill_n(rgba, 3, 0.0F);
            for (std::uint64_t plane = 0; plane < m_planeCount; ++plane) {
                rgba[plane] = m_tensor.GetValueAtIndexedSubscript(plane * m_planeSize + element);
            }
            if (m_planeCount < 4) {
                rgba[3] = 1;
            }
        }
    }

private:
    PlaneSource(const Learning::Tensor& tensor, const std::vector<int>& shape)
        : SpanSource(shape.end()[-1], shape.end()[-2]),
          m_tensor(tensor),
          m_planeCount(shape.size() < 3 ? 1 : static_cast<std::uint64_t>(shape.end()[-3])),
          m_planeSize(GetIndex(0, GetHeight())) {}

    std::uint64_t GetIndex(int x, int y) const {
        return static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(GetWidth()) +
               static_cast<std::uint64_t>(x);
    }

    const Learning::Tensor& m_tensor;
    std::uint64_t m_planeCount;
    std::uint64_t m_planeSize;
};

/// Hands pixels and what comes for them to a painter.
class PaintTarget final : public Raster::SpanTarget {
public:
    PaintTarget(const Raster::PixelView& view, const Painter& paint, const PaintStages& stages)
        : m_view(view), m_paint(paint), m_stages(stages) {}

    void Write(int x, int y, std::size_t count, const float* rgba) override {
        alignas(64) std::array<float, 4 * Raster::MaximumSpanLength> pixels;
        Read(x, y, count, pixels.data());
        Apply(m_stages.before, pixels.data(), count);
        for (std::size_t i = 0; i < 4 * count; i += 4) {
            m_paint(std::span<float, 4>(&pixels[i], 4), std::span<const float, 4>(&rgba[i], 4));
        }
        Apply(m_stages.after, pixels.data(), count);
        m_view.format->write(pixels.data(), m_view.At(x, y), count);
    }

    void Read(int x, int y, std::size_t count, float* rgba) const override {
        assert(count <= Raster::MaximumSpanLength);
        m_view.format->read(m_view.At(x, y), rgba, count);
    }

private:
    static void Apply(const Raster::SpanStages& stages, float* rgba, std::size_t count) {
        for (const auto& stage : stages) {
            stage->Apply(rgba, count);
        }
    }

    Raster::PixelView m_view;
    const Painter& m_paint;
    const PaintStages& m_stages;
};

}  // namespace

Size FitLongSide(Size size, int side) {
    const double scale = static_cast<double>(side) / std::max(size.width, size.height);
    const auto fit = [scale](int length) {
        return std::max(1, static_cast<int>(std::lround(length * scale)));
    };
    return {fit(size.width), fit(size.height)};
}

void PaintPlanes(const Learning::Tensor& tensor, Raster::DynamicBitmap& photo, const Painter& paint,
                 const PaintStages& stages) {
    const PlaneSource source(tensor);
    const Raster::PixelAccessor pixels(photo);
    PaintTarget target(pixels.GetView(), paint, stages);
    Raster::Rendering rendering;
    rendering.transform = Raster::AffineTransform::Params::Scale(
        static_cast<double>(photo.GetWidth()) / source.GetWidth(),
        static_cast<double>(photo.GetHeight()) / source.GetHeight());
    Raster::RunHostPath({&source, &target, nullptr, &rendering, nullptr}, photo.GetBounds());
}

}  // namespace LearningApp
