// Resampling filters.

#pragma once

#include <cstdint>

namespace Raster {

/// The filter with which a transform reads its source. All but Nearest work on premultiplied
/// colours, so that hidden colours do not bleed, and widen their footprint when downscaling, to
/// avoid aliasing.
enum class Sampler : std::uint8_t {
    Nearest,   // nearest neighbour: the pixel that contains the point
    Bilinear,  // a triangle kernel of one pixel to each side
    Bicubic,   // Keys' cubic convolution with a = -0.5
    Lanczos,   // Lanczos kernel of three lobes
    Area,      // the mean over the pixel's footprint (box): for strong downscaling
};

}  // namespace Raster
