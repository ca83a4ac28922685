// Finding colour profiles and converting between them.

#pragma once

#include "Raster/ICCProfile.h"
#include "Raster/PixelFormat.h"
#include "Raster/SpanStage.h"

#include <map>

namespace Raster {

/// The profiles that everybody knows by name, and conversions between any two profiles.
///
/// Threads: any.
class RASTER_API ICCManager {
public:
    /// The profiles that a host works in, one for each pixel format.
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
    /// relative colorimetric with black point compensation. Null if there is nothing to do, one of
    /// them being empty or both the same, or if `to` tells how to see colours only, as profiles of
    /// scanners do. Profiles of colours other than red, green and blue count as sRGB, which is how
    /// the formats of those colours meet the intermediate.
    static Kernel::Counted<const SpanStage> CreateConversion(
        const Kernel::Consolidated<ICCProfile>& from, const Kernel::Consolidated<ICCProfile>& to);
};

}  // namespace Raster
