// Blending of spans.

#pragma once

#include "Raster/Rendering.h"

namespace Raster {

/// Blends `count` pixels of `source` into those in `rgba`, by the mode `blend`, in straight alpha.
/// The alpha of `mask`, which may be null, weights the result; `weight` applies to Over only. All
/// are 64-byte aligned and hold a multiple of four pixels.
void BlendSpan(Blend blend, const float* source, const float* mask, float weight, float* rgba,
               std::size_t count) noexcept;

}  // namespace Raster
