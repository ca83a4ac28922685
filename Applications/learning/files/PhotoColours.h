// Between the colours of photos and those that networks know: the one place that asks for
// conversions.

#pragma once

#include "Raster/ICCProfile.h"
#include "Raster/SpanStage.h"

#include <optional>

namespace LearningApp {

/// sRGB, which networks are trained on.
Kernel::Consolidated<Raster::ICCProfile> GetNetworkProfile();

/// The conversions of the pixels of a photo; each is empty if there is nothing to convert.
struct PhotoColours {
    Raster::SpanStages toNetwork;
    Raster::SpanStages toPhoto;
};

/// Those of photos with `profile`, which may be empty: sRGB. Nothing if there is no way there and
/// back, as for the profiles of many scanners.
std::optional<PhotoColours> FindColours(const Kernel::Consolidated<Raster::ICCProfile>& profile);

}  // namespace LearningApp
