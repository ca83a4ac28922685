// Three-dimensional colour look-up tables (3D LUT).

#pragma once

#include "Kernel/String.h"
#include "Raster/SpanStage.h"

#include <span>
#include <vector>

namespace Raster {

/// A 3D LUT over red, green and blue in 0..1. Input is clamped to that range, and NaN counts as 0.
/// Alpha passes unchanged.
class RASTER_API ColourCubeRGB final : public SpanStage {
public:
    static constexpr int MaximumSize = 129;

    enum class Interpolation : std::uint8_t {
        Trilinear,
        Tetrahedral,  // keeps the grey axis; Kasson et al., "Performing color space conversions
                      // with three-dimensional linear interpolation" (1995)
    };

    /// The cube of that name; "Identity" is the only one. Throws std::invalid_argument for another.
    explicit ColourCubeRGB(const Kernel::String& name,
                           Interpolation interpolation = Interpolation::Tetrahedral);

    /// A cube of `size` colours to a side, 2 to MaximumSize, red varying fastest, three floats a
    /// colour. Throws std::invalid_argument if `colours` is not size * size * size * 3 long.
    ColourCubeRGB(int size, std::span<const float> colours,
                  Interpolation interpolation = Interpolation::Tetrahedral);

    int GetSize() const noexcept { return m_size; }
    void Apply(float* rgba, std::size_t count) const override;

private:
    int m_size;
    Interpolation m_interpolation;
    std::vector<float> m_colours;  // four floats a colour
};

}  // namespace Raster
