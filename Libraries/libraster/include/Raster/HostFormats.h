// The list of the host's pixel formats, for code that needs something of each.

#pragma once

#include "Raster/Channels.h"

/// Expands APPLY(C1, C2, C3, C4, C5) for each host format. A macro, since no template can write an
/// explicit instantiation.
#define RASTER_FOR_EACH_HOST_FORMAT(APPLY)                    \
    APPLY(Red8, Green8, Blue8, Alpha8, X5)                    \
    APPLY(Red16, Green16, Blue16, Alpha16, X5)                \
    APPLY(RedUF, GreenUF, BlueUF, AlphaF, X5)                 \
    APPLY(Intensity8, Alpha8, X3, X4, X5)                     \
    APPLY(Intensity16, Alpha16, X3, X4, X5)                   \
    APPLY(Cyan8, Magenta8, Yellow8, Black8, Alpha8)           \
    APPLY(Lightness16, AOpponent16, BOpponent16, Alpha16, X5) \
    APPLY(Alpha8, X2, X3, X4, X5)                             \
    APPLY(Alpha16, X2, X3, X4, X5)                            \
    APPLY(AlphaF, X2, X3, X4, X5)
