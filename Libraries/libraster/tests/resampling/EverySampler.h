// The samplers.

#pragma once

#include "Raster/Sampler.h"

namespace Raster::Testing {

inline constexpr Sampler Samplers[] = {Sampler::Nearest, Sampler::Bilinear, Sampler::Bicubic,
                                       Sampler::Lanczos, Sampler::Area};

}  // namespace Raster::Testing
