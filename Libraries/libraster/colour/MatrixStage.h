// Conversion between matrix/TRC profiles, and those of grey by a curve.

#pragma once

#include "Kernel/Counted.h"
#include "Raster/SpanStage.h"

#include "colour/Lcms.h"

namespace Raster {

/// Decodes by three tone curves, multiplies by one matrix and encodes by three tone curves, in a
/// tenth of the time of lcms2. Null unless both profiles are matrix/TRC, or grey by a curve,
/// without look-up tables. A grey value is in red, green and blue alike.
///
/// Tone curves are continued below 0 as odd functions, above 1 by the formula of parametric curves
/// and by the last slope of sampled ones. NaN stays NaN.
Kernel::Counted<const SpanStage> CreateMatrixStage(const LcmsProfile& from, const LcmsProfile& to);

}  // namespace Raster
