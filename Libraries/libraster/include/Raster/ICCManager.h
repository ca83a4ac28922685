// Built-in colour profiles and conversions between profiles.

#pragma once

#include "Raster/ICCProfile.h"
#include "Raster/PixelFormat.h"
#include "Raster/SpanStage.h"

#include <map>

namespace Raster {

/// Built-in profiles by name, and conversions between any two profiles.
///
/// Threads: any.
class RASTER_API ICCManager {
public:
    /// The working profiles of a host, one for each pixel format.
    class RASTER_API ICCProfileSet {
    public:
        /// Every format has no profile.
        ICCProfileSet() = default;

        /// Empty for a format without one.
        Kernel::Consolidated<ICCProfile> GetProfileForFormat(Format format) const;
        void SetProfileForFormat(Format format, Kernel::Consolidated<ICCProfile> profile);

    private:
        std::map<Format, Kernel::Consolidated<ICCProfile>> m_profiles;
    };

    /// The built-in profile of that name: "sRGB IEC61966-2.1". Empty for any other.
    static Kernel::Consolidated<ICCProfile> GetProfileForString(const Kernel::String& name);

    /// A stage that turns the unit-float RGBA of bitmaps in `from` into that of bitmaps in `to`,
    /// with the rendering intent relative colorimetric and black point compensation. Null if one of
    /// them is empty, if both are the same, or if `to` has no transform from the profile connection
    /// space, as input profiles of scanners may. Profiles of colour spaces other than RGB count as
    /// sRGB: the intermediate of formats of those colour spaces is sRGB.
    static Kernel::Counted<const SpanStage> CreateConversion(
        const Kernel::Consolidated<ICCProfile>& from, const Kernel::Consolidated<ICCProfile>& to);
};

}  // namespace Raster
