// What an affine map does to a picture as a whole, which decides how it is resampled.

#pragma once

#include "Raster/AffineTransform.h"

#include <cstdint>

namespace Raster {

/// A map of a picture, and the nearest one that is exactly of its kind.
struct MapShape {
    enum class Kind : std::uint8_t {
        Placement,  // pixels fall onto pixels: quarter turns, flips and shifts by whole pixels
        Upright,    // rows stay rows
        Swapped,    // rows become columns
        General,
    };

    Kind kind;
    AffineTransform::Params map;      // source to destination
    AffineTransform::Params inverse;  // and back
};

/// Finds the first of the kinds from which the map strays by no more than a thousandth of a
/// destination pixel, anywhere in a picture of that size; nothing if the map is not invertible.
/// What composing leaves behind, such as a shear of 1e-17, does not count. It depends on the
/// picture rather than on the part that is read, so that parts fit together.
std::optional<MapShape> FindShape(const AffineTransform::Params& map, int width,
                                  int height) noexcept;

}  // namespace Raster
