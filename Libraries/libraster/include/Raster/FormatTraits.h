// The host's pixel formats as types.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

/// Declared only: a list of channels that is no format does not compile. A specialisation has the
/// function GetPixelFormat(), whose object never changes. A host that adds a format specialises
/// this and nothing else.
template <class C1, class C2, class C3, class C4, class C5>
struct FormatTraits;

// The objects are defined in the library.
#define RASTER_FORMAT(NAME, CODE, ...)                       \
    template <>                                              \
    struct RASTER_API FormatTraits<__VA_ARGS__> {            \
        static const PixelFormat& GetPixelFormat() noexcept; \
    };
#include "Raster/HostFormats.inc"

}  // namespace Raster
