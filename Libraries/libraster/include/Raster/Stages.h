// Stages in stock: between alpha and grey, onto a background, and without hidden colours.

#pragma once

#include "Raster/PixelFormat.h"
#include "Raster/SpanStage.h"

namespace Raster {

// Alpha is clamped to 0..1, NaN to 0.

/// Grey becomes alpha: the luma (BT.601, of the encoded values, each clamped to 0..1) times the
/// alpha, so that what is erased stays so, as in luminance masks of CSS Masking. Colours pass
/// unchanged.
RASTER_API Kernel::Counted<const SpanStage> CreateLumaToAlphaStage();

/// Alpha becomes the grey of opaque pixels.
RASTER_API Kernel::Counted<const SpanStage> CreateAlphaToGreyStage();

/// Pixels over an opaque background of that colour, which is finite: they become opaque.
RASTER_API Kernel::Counted<const SpanStage> CreateFlattenStage(float red, float green, float blue);

/// Clears the colours of pixels whose alpha is 0 in the format `target`: for pictures that leave
/// the program, since what a user has erased may still be there under alpha 0.
RASTER_API Kernel::Counted<const SpanStage> CreateClearHiddenStage(const PixelFormat& target);

}  // namespace Raster
