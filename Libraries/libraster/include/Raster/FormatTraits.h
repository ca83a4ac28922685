// The host's pixel formats as types.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

/// Declared only: a list of channels that is no format does not compile. A specialisation has the
/// function GetPixelFormat(), whose object never changes. Whoever adds a format specialises this
/// and nothing else; see FormatTraits.cpp.
template <class C1, class C2, class C3, class C4, class C5>
struct FormatTraits;

// The one thing that can differ is the object, which lives in the library.
#define RASTER_HOST_FORMAT(C1, C2, C3, C4, C5)               \
    template <>                                              \
    struct RASTER_API FormatTraits<C1, C2, C3, C4, C5> {     \
        static const PixelFormat& GetPixelFormat() noexcept; \
    }
RASTER_HOST_FORMAT(Red8, Green8, Blue8, Alpha8, X5);
RASTER_HOST_FORMAT(Red16, Green16, Blue16, Alpha16, X5);
RASTER_HOST_FORMAT(RedUF, GreenUF, BlueUF, AlphaF, X5);
RASTER_HOST_FORMAT(Intensity8, Alpha8, X3, X4, X5);
RASTER_HOST_FORMAT(Intensity16, Alpha16, X3, X4, X5);
RASTER_HOST_FORMAT(Cyan8, Magenta8, Yellow8, Black8, Alpha8);
RASTER_HOST_FORMAT(Lightness16, AOpponent16, BOpponent16, Alpha16, X5);
RASTER_HOST_FORMAT(Alpha8, X2, X3, X4, X5);
RASTER_HOST_FORMAT(Alpha16, X2, X3, X4, X5);
RASTER_HOST_FORMAT(AlphaF, X2, X3, X4, X5);
#undef RASTER_HOST_FORMAT

}  // namespace Raster
