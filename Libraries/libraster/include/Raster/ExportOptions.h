// Encoder options for picture files.

#pragma once

#include "Raster/Export.h"
#include "Raster/ICCProfile.h"

#include <utility>

namespace Raster {

/// Options of the JPEG and PNG encoders. The defaults are meant for export without a dialogue.
class RASTER_API ExportOptions {
public:
    /// JPEG quality, 1..100 as in libjpeg; clamped to that range. Chroma subsampling is 4:2:0 below
    /// 90, none (4:4:4) from there on.
    void SetQuality(int quality) noexcept;
    int GetQuality() const noexcept { return m_quality; }

    /// PNG compression level as in zlib, 0 (stored) to 9; clamped to that range. Files of the
    /// default level, 1, are a sixth larger than those of libpng's default, and written thirty
    /// times faster; without ISA-L, ten times.
    void SetCompressionLevel(int level) noexcept;
    int GetCompressionLevel() const noexcept { return m_compressionLevel; }

    /// Embedded in the file, unless its colour space is not the file's; empty for none.
    void SetProfile(Kernel::Consolidated<ICCProfile> profile) { m_profile = std::move(profile); }
    const Kernel::Consolidated<ICCProfile>& GetProfile() const noexcept { return m_profile; }

private:
    int m_quality = 90;
    int m_compressionLevel = 1;
    Kernel::Consolidated<ICCProfile> m_profile;
};

}  // namespace Raster
