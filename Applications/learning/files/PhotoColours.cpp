#include "files/PhotoColours.h"

#include "Raster/ICCManager.h"

namespace LearningApp {

Kernel::Consolidated<Raster::ICCProfile> GetNetworkProfile() {
    return Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1");
}

std::optional<PhotoColours> FindColours(const Kernel::Consolidated<Raster::ICCProfile>& profile) {
    const auto network = GetNetworkProfile();
    if (!profile || profile == network || profile->GetColourSpace() != Raster::ColourSpace::RGB) {
        return PhotoColours();
    }
    const auto there = Raster::ICCManager::CreateConversion(profile, network);
    const auto back = Raster::ICCManager::CreateConversion(network, profile);
    return there && back ? std::optional(PhotoColours{{there}, {back}}) : std::nullopt;
}

}  // namespace LearningApp
