// The flag that ends a long operation early.

#pragma once

#include "Raster/Export.h"

namespace Raster {

/// Whether the flag, which another thread may set at any time through std::atomic_ref<bool>, is
/// set; false for null.
RASTER_API bool IsAborted(const bool* abort) noexcept;

}  // namespace Raster
