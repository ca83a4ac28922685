// The parts of a kernel's text that do not depend on a pixel format.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

/// How a bitmap's pixels are found from their coordinates. Null if the language is not known.
const char* GetSourceAddressing(HardwareKernelLanguage language) noexcept;
const char* GetDestAddressing(HardwareKernelLanguage language) noexcept;
const char* GetMaskAddressing(HardwareKernelLanguage language) noexcept;

}  // namespace Raster
