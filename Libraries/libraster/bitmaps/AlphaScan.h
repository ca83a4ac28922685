// The smallest rectangles around pixels by their alpha.

#pragma once

#include "Raster/PixelView.h"

namespace Raster {

/// Around the pixels that are not fully transparent; all zeros if there are none. What is no number
/// counts as transparent.
Rect FindAlphaBox(const ConstPixelView& view);

/// Around the pixels that are not fully opaque, those whose alpha is no number among them;
/// EmptyRect if there are none. Formats without alpha are opaque.
Rect FindInverseAlphaBox(const ConstPixelView& view);

}  // namespace Raster
