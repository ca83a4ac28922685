#include "colour/AdoptedColours.h"

#include "Raster/ICCManager.h"

#include "colour/StandardProfile.h"

namespace Raster {

AdoptedColours AdoptColours(Format from, const Kernel::Consolidated<ICCProfile>& profile,
                            Format to) {
    if (!profile || ICCManager::IsFitting(*profile, to)) {
        return {profile};
    }
    const Kernel::Consolidated<ICCProfile>& sRGB = GetSRGB();
    // The intermediate of formats that sRGB does not fit is nominally sRGB, too.
    return {ICCManager::IsFitting(*sRGB, to) ? sRGB : Kernel::Consolidated<ICCProfile>(),
            ICCManager::CreateConversion(from, profile, Format::RGBA8, sRGB)};
}

}  // namespace Raster
