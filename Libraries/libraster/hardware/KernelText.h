// The parts of a kernel's text that do not depend on a pixel format.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

/// The fragments that compute a pixel's address from its coordinates. Null for an unknown language.
const char* GetSourceAddressing(HardwareKernelLanguage language) noexcept;
const char* GetDestAddressing(HardwareKernelLanguage language) noexcept;
const char* GetMaskAddressing(HardwareKernelLanguage language) noexcept;

}  // namespace Raster
