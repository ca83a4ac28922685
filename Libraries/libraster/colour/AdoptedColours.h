// The colours of a bitmap that is made from a file or from another bitmap.

#pragma once

#include "Raster/ColourConversion.h"
#include "Raster/ICCProfile.h"
#include "Raster/PixelFormat.h"

namespace Raster {

struct AdoptedColours {
    Kernel::Consolidated<ICCProfile> profile;  // of the new bitmap
    ColourConversion conversion{};
};

/// What a new bitmap of format `to` has, whose pixels come from one of format `from` and `profile`:
/// that profile if it fits. If not, such as one of inks, colours become sRGB, and the new bitmap
/// has that profile if it fits.
AdoptedColours AdoptColours(Format from, const Kernel::Consolidated<ICCProfile>& profile,
                            Format to);

}  // namespace Raster
