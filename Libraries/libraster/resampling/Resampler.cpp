#include "resampling/Resampler.h"

#include "resampling/AffineResampler.h"
#include "resampling/AxisResampler.h"
#include "resampling/NearestResampler.h"
#include "resampling/TransposedSource.h"

namespace Raster {

namespace {

/// Resamples a picture that is turned by a quarter as an upright one with its axes swapped.
class SwappedResampler final : public Resampler {
public:
    SwappedResampler(const SpanSource& source, const AffineTransform::Params& inverse,
                     Sampler sampler, const Rect& rect)
        : m_source(source),
          m_resampler(m_source, AxisMap{inverse.yx, inverse.dy}, AxisMap{inverse.xy, inverse.dx},
                      sampler, rect) {}

    std::unique_ptr<TileRows> OpenTile(const Rect& tile) const override {
        return m_resampler.OpenTile(tile);
    }

private:
    TransposedSource m_source;
    AxisResampler m_resampler;
};

}  // namespace

bool Resampler::CopyTile(const PixelView& /*target*/, const Rect& /*tile*/) const {
    return false;
}

std::unique_ptr<const Resampler> Resampler::Create(const SpanSource& source, const MapShape& shape,
                                                   Sampler sampler, const Rect& rect) {
    const AffineTransform::Params& inverse = shape.inverse;
    if (sampler == Sampler::Nearest || shape.kind == MapShape::Kind::Placement) {
        return std::make_unique<NearestResampler>(source, inverse);
    }
    switch (shape.kind) {
        case MapShape::Kind::Upright:
            return std::make_unique<AxisResampler>(source, AxisMap{inverse.xx, inverse.dx},
                                                   AxisMap{inverse.yy, inverse.dy}, sampler, rect);
        case MapShape::Kind::Swapped:
            return std::make_unique<SwappedResampler>(source, inverse, sampler, rect);
        default:
            return std::make_unique<AffineResampler>(source, shape, sampler);
    }
}

}  // namespace Raster
