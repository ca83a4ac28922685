// Built-in colour profiles and conversions between profiles.

#pragma once

#include "Raster/ColourConversion.h"
#include "Raster/ICCProfile.h"
#include "Raster/PixelFormat.h"

#include <map>

namespace Raster {

/// Built-in profiles by name, and conversions between any two bitmaps.
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

    /// Whether a profile can say what the colours of a bitmap of that format are: one of the
    /// format's own colour space, or an RGB profile for grey formats, whose pixels are then its
    /// greys. None does for formats of alpha alone.
    static bool IsFitting(const ICCProfile& profile, Format format) noexcept;

    /// How bitmaps of format `fromFormat` and profile `from` become ones of `toFormat` and `to`:
    /// rendering intent relative colorimetric, black point compensation.
    ///
    /// None is needed if both have the same colours, if one has no profile, so that its colours are
    /// unknown, or no colours. Lab needs no profile, and a profile changes nothing: the
    /// intermediate of its format is sRGB. It is impossible if a profile does not fit its bitmap,
    /// and into a profile without a transform from the profile connection space, as those of
    /// scanners may be.
    static ColourConversion CreateConversion(Format fromFormat,
                                             const Kernel::Consolidated<ICCProfile>& from,
                                             Format toFormat,
                                             const Kernel::Consolidated<ICCProfile>& to);
};

}  // namespace Raster
