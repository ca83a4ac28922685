// Finding and clearing samples that are NaN or infinite.

#pragma once

#include "Raster/PixelView.h"

namespace Raster {

/// Whether pixels of that format can hold such samples.
bool HasFloatSamples(const PixelFormat& format) noexcept;

/// For formats with float samples: whether there is no NaN and no infinity.
bool HasOnlyFiniteSamples(const ConstPixelView& view) noexcept;

/// For formats with float samples: sets NaN and infinity to 0.
void ClearSamplesThatAreNotFinite(const PixelView& view) noexcept;

}  // namespace Raster
