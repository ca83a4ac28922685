// Resampling under rotation and shear.

#pragma once

#include "resampling/Footprint.h"
#include "resampling/Resampler.h"

#include <vector>

namespace Raster {

/// Evaluates the filter's footprint around each point, in a block of the source that is loaded for
/// a few destination pixels at a time.
class AffineResampler final : public Resampler {
public:
    AffineResampler(const SpanSource& source, const MapShape& shape, Sampler sampler);
    std::unique_ptr<TileRows> OpenTile(const Rect& tile) const override;

private:
    const SpanSource& m_source;
    AffineTransform::Params m_inverse;
    Footprint m_footprint;
    // For a separable footprint: along x and y.
    std::vector<PhaseTable> m_phases;
    // For others but images of pixels.
    std::optional<KernelTable> m_kernel;
};

}  // namespace Raster
