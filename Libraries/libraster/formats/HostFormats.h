// The objects of the host's pixel formats. Each is defined in the file of its family, with its
// reader, its writer and their counterparts for devices.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

extern const PixelFormat RGBA8Format;
extern const PixelFormat RGBA16Format;
extern const PixelFormat RGBAFFormat;
extern const PixelFormat GreyA8Format;
extern const PixelFormat GreyA16Format;
extern const PixelFormat CMYKA8Format;
extern const PixelFormat LabA16Format;
extern const PixelFormat Alpha8Format;
extern const PixelFormat Alpha16Format;
extern const PixelFormat AlphaFFormat;

}  // namespace Raster
