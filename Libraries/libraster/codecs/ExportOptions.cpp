#include "Raster/ExportOptions.h"

#include <algorithm>

namespace Raster {

void ExportOptions::SetQuality(int quality) noexcept {
    m_quality = std::clamp(quality, 1, 100);
}

void ExportOptions::SetCompressionLevel(int level) noexcept {
    m_compressionLevel = std::clamp(level, 0, 9);
}

}  // namespace Raster
