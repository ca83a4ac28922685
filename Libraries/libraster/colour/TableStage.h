// Conversion by lcms2, for profiles with look-up tables.

#pragma once

#include "Kernel/Counted.h"
#include "Raster/ICCProfile.h"
#include "Raster/SpanCodec.h"
#include "Raster/SpanStage.h"

namespace Raster {

// The intermediates of Lab and of inks are sRGB with the colours beyond its gamut. lcms2 continues
// the tone curve of sRGB below 0 in another way than CreateMatrixStage(), so it is given light.

/// A stage between the intermediates of two profiles of RGB or grey. Null if there is none.
Kernel::Counted<const SpanStage> CreateTableStage(const ICCProfile& from, const ICCProfile& to);

/// Reads the inks of CMYKA8 as sRGB, and writes them if `isForWriting`. Null if the profile has no
/// transform for that.
Kernel::Counted<const SpanCodec> CreateInkCodec(const ICCProfile& profile, bool isForWriting);

}  // namespace Raster
