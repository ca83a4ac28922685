// Writing PNG files.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/Export.h"
#include "Raster/Picture.h"

namespace Raster {

/// Writes `picture` in the smallest of PNG's 8-bit colour types that loses nothing: an alpha
/// channel only if a pixel is not opaque, colours only if a pixel is not grey. Compresses for
/// speed.
RASTER_API void WritePNG(const Picture& picture, Kernel::OutStream& stream);

}  // namespace Raster
