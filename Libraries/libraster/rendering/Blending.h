// How the pixels of one span meet those of the destination.

#pragma once

#include "Raster/Rendering.h"

namespace Raster {

/// Lays `count` pixels of `source` over those in `rgba`, by the rules of `blend`. The alpha of
/// `mask`, which may be null, says how much of it happens; `weight` counts under Over only. All are
/// 64-byte aligned and hold a multiple of four pixels.
void BlendSpan(Blend blend, const float* source, const float* mask, float weight, float* rgba,
               std::size_t count) noexcept;

}  // namespace Raster
