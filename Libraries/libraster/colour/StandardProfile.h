// The profile of sRGB, and its linear light.

#pragma once

#include "Raster/ICCProfile.h"

#include "colour/Lcms.h"

namespace Raster {

inline constexpr const char* StandardProfileName = "sRGB IEC61966-2.1";

/// sRGB (IEC 61966-2-1) with its customary name; the same bytes whenever it is made.
const Kernel::Consolidated<ICCProfile>& GetSRGB();

/// sRGB with tone curves that change nothing.
LcmsProfile OpenLinearSRGB(const LcmsContext& context);

}  // namespace Raster
