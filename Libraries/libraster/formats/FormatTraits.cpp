#include "Raster/FormatTraits.h"

#include "formats/HostFormats.h"

#include <stdexcept>
#include <string>

namespace Raster {

// To add a format of the library: its channels in Channels.h, its code in PixelFormat.h, its line
// in the list of Raster/HostFormats.h, its object in a file of its family and in
// formats/HostFormats.h, and the two places here. Formats beyond the library need none of these: a
// PixelFormat of their own, and for bitmaps by type FormatTraits.

const PixelFormat& FormatTraits<Red8, Green8, Blue8, Alpha8, X5>::GetPixelFormat() noexcept {
    return RGBA8Format;
}
const PixelFormat& FormatTraits<Red16, Green16, Blue16, Alpha16, X5>::GetPixelFormat() noexcept {
    return RGBA16Format;
}
const PixelFormat& FormatTraits<RedUF, GreenUF, BlueUF, AlphaF, X5>::GetPixelFormat() noexcept {
    return RGBAFFormat;
}
const PixelFormat& FormatTraits<Intensity8, Alpha8, X3, X4, X5>::GetPixelFormat() noexcept {
    return GreyA8Format;
}
const PixelFormat& FormatTraits<Intensity16, Alpha16, X3, X4, X5>::GetPixelFormat() noexcept {
    return GreyA16Format;
}
const PixelFormat&
FormatTraits<Cyan8, Magenta8, Yellow8, Black8, Alpha8>::GetPixelFormat() noexcept {
    return CMYKA8Format;
}
const PixelFormat&
FormatTraits<Lightness16, AOpponent16, BOpponent16, Alpha16, X5>::GetPixelFormat() noexcept {
    return LabA16Format;
}
const PixelFormat& FormatTraits<Alpha8, X2, X3, X4, X5>::GetPixelFormat() noexcept {
    return Alpha8Format;
}
const PixelFormat& FormatTraits<Alpha16, X2, X3, X4, X5>::GetPixelFormat() noexcept {
    return Alpha16Format;
}
const PixelFormat& FormatTraits<AlphaF, X2, X3, X4, X5>::GetPixelFormat() noexcept {
    return AlphaFFormat;
}

const PixelFormat& GetPixelFormat(Format code) {
    switch (code) {
        case Format::RGBA8:
            return RGBA8Format;
        case Format::RGBA16:
            return RGBA16Format;
        case Format::RGBAF:
            return RGBAFFormat;
        case Format::GreyA8:
            return GreyA8Format;
        case Format::GreyA16:
            return GreyA16Format;
        case Format::CMYKA8:
            return CMYKA8Format;
        case Format::LabA16:
            return LabA16Format;
        case Format::Alpha8:
            return Alpha8Format;
        case Format::Alpha16:
            return Alpha16Format;
        case Format::AlphaF:
            return AlphaFFormat;
        case Format::Tensor:
            break;
    }
    throw std::invalid_argument("There is no host pixel format of code " +
                                std::to_string(static_cast<int>(code)) + ".");
}

}  // namespace Raster
