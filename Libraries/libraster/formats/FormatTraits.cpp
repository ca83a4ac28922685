#include "Raster/FormatTraits.h"

#include "formats/HostFormatObjects.h"

#include <stdexcept>
#include <string>

namespace Raster {

#define RASTER_FORMAT(NAME, CODE, ...)                                        \
    const PixelFormat& FormatTraits<__VA_ARGS__>::GetPixelFormat() noexcept { \
        return NAME##Format;                                                  \
    }
#include "Raster/HostFormats.inc"

const PixelFormat& GetPixelFormat(Format code) {
    switch (code) {
#define RASTER_FORMAT(NAME, CODE, ...) \
    case Format::NAME:                 \
        return NAME##Format;
#include "Raster/HostFormats.inc"
        case Format::Tensor:
            break;
    }
    throw std::invalid_argument("There is no host pixel format of code " +
                                std::to_string(static_cast<int>(code)) + ".");
}

}  // namespace Raster
