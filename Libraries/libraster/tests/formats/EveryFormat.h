// The host's pixel formats, for tests of each.

#pragma once

#include "Raster/FormatTraits.h"

#include <vector>

namespace Raster::Testing {

inline const std::vector<const PixelFormat*>& GetHostFormats() {
    static const std::vector<const PixelFormat*> formats{
#define RASTER_FORMAT(NAME, CODE, ...) &FormatTraits<__VA_ARGS__>::GetPixelFormat(),
#include "Raster/HostFormats.inc"
    };
    return formats;
}

}  // namespace Raster::Testing
