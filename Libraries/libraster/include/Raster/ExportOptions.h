// What a user may choose when a picture is written to a file.

#pragma once

#include "Raster/Export.h"
#include "Raster/ICCProfile.h"

#include <utility>

namespace Raster {

/// The defaults are what a person would want who was not asked.
class RASTER_API ExportOptions {
public:
    /// JPEG's quality, 1..100 as in libjpeg; a value beyond ends there. Below 90, colours are
    /// stored at half the resolution.
    void SetQuality(int quality) noexcept;
    int GetQuality() const noexcept { return m_quality; }

    /// PNG's effort, 0 (stored) to 9; a value beyond ends there. By default a fifth larger and ten
    /// times quicker than libpng's own.
    void SetCompressionLevel(int level) noexcept;
    int GetCompressionLevel() const noexcept { return m_compressionLevel; }

    /// Stored in the file, unless it is one for other colours than the file's; empty for none.
    void SetProfile(Kernel::Consolidated<ICCProfile> profile) { m_profile = std::move(profile); }
    const Kernel::Consolidated<ICCProfile>& GetProfile() const noexcept { return m_profile; }

private:
    int m_quality = 90;
    int m_compressionLevel = 1;
    Kernel::Consolidated<ICCProfile> m_profile;
};

}  // namespace Raster
