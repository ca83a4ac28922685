// Counting pixels by alpha.

#pragma once

#include "Raster/Rendering.h"

namespace Raster {

/// Adds `count` pixels of unit-float RGBA to `tally`.
void CountSpan(const float* rgba, std::size_t count, CopyTally& tally) noexcept;

/// Adds the pixels of `rect`, which lies in `view`, to `tally`.
void CountPixels(const ConstPixelView& view, const Rect& rect, CopyTally& tally) noexcept;

}  // namespace Raster
