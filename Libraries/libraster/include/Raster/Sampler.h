// How a source is read between its pixels.

#pragma once

#include <cstdint>

namespace Raster {

/// The filter with which a transform reads its source. All but Nearest work on colours multiplied
/// by alpha, so that hidden colours never show, and widen when they shrink a picture, so that fine
/// patterns fade instead of turning into coarse ones.
enum class Sampler : std::uint8_t {
    Nearest,   // the pixel whose area holds the point
    Bilinear,  // a triangle of one pixel to each side
    Bicubic,   // Keys' cubic convolution with a = -0.5
    Lanczos,   // three lobes
    Area,      // the mean over the pixel's own area: for shrinking by a lot
};

}  // namespace Raster
