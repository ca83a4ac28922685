// Resampling filters.

#pragma once

#include <cstdint>

namespace Raster {

/// The filter with which a transform reads its source. All but Nearest work on premultiplied
/// colours, so that hidden colours do not bleed, and widen their footprint when downscaling, to
/// avoid aliasing: along the axes of the ellipse that is the image of a destination's pixel, by
/// their lengths. Taps beyond the source are left out, and the others' weights add up to 1; what is
/// sampled is multiplied by the part of the destination's pixel that the source covers. On opaque
/// pictures, Bicubic and Lanczos are within a level of Pillow's filters, except where a filter
/// overshoots the range along rows: Pillow clamps between its two passes, here only the result is.
enum class Sampler : std::uint8_t {
    Nearest,   // nearest neighbour: the pixel that contains the point
    Bilinear,  // a triangle kernel of one pixel to each side
    Bicubic,   // Keys' cubic convolution with a = -0.5
    Lanczos,   // Lanczos kernel of three lobes
    Area,      // the mean over the image of the pixel, however turned: for strong downscaling
};

}  // namespace Raster
