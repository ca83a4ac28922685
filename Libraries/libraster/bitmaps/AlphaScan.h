// Bounding boxes of pixels by their alpha.

#pragma once

#include "Raster/PixelView.h"

namespace Raster {

// Once `abort`, which may be null, is set, the search ends early with any rectangle.

/// The bounding box of the pixels that are not fully transparent; all zeros if there are none. An
/// alpha of NaN counts as transparent.
Rect FindAlphaBox(const ConstPixelView& view, const bool* abort);

/// The bounding box of the pixels that are not fully opaque, alpha NaN included; EmptyRect if there
/// are none. Formats without alpha are opaque.
Rect FindInverseAlphaBox(const ConstPixelView& view, const bool* abort);

}  // namespace Raster
