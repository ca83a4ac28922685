// Colour look-up tables in three dimensions.

#pragma once

#include "Kernel/String.h"
#include "Raster/SpanStage.h"

#include <span>
#include <vector>

namespace Raster {

/// A cube of colours that maps red, green and blue of 0..1 to colours; what is outside is looked up
/// at the nearest face. Alpha passes unchanged.
class RASTER_API ColourCubeRGB final : public SpanStage {
public:
    static constexpr int MaximumSize = 129;

    enum class Interpolation : std::uint8_t {
        Trilinear,
        Tetrahedral,  // greys stay grey; Kasson et al., "Performing color space conversions with
                      // three-dimensional linear interpolation" (1995)
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
