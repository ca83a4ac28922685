#include "files/PhotoColours.h"

#include "Raster/ICCManager.h"
#include "Raster/Rendering.h"

namespace LearningApp {

Kernel::Consolidated<Raster::ICCProfile> GetNetworkProfile() {
    return Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1");
}

std::optional<PhotoColours> FindColours(const Kernel::Consolidated<Raster::ICCProfile>& profile) {
    const auto network = GetNetworkProfile();
    if (!profile || profile == network) {
        return PhotoColours();
    }
    // A format that the profile fits: those of grey are spread over three colours.
    const bool isGrey = profile->GetColourSpace() == Raster::ColourSpace::Grey;
    const Raster::Format format = isGrey ? Raster::Format::GreyA16 : Raster::Format::RGBAF;
    Raster::Rendering there;
    Raster::Rendering back;
    constexpr Raster::Format Colours = Raster::Format::RGBAF;
    const bool isPossible =
        AddColours(there,
                   Raster::ICCManager::CreateConversion(format, profile, Colours, network)) &&
        AddColours(back, Raster::ICCManager::CreateConversion(Colours, network, format, profile));
    return isPossible ? std::optional(PhotoColours{there.stages, back.stages}) : std::nullopt;
}

}  // namespace LearningApp
