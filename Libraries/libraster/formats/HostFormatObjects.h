// The objects of the host's pixel formats. Each is defined in the file of its family, with its
// reader, its writer and their counterparts for devices.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

/// The host format of that code with `rules`; its channels are those of its row.
template <Format Code>
constexpr PixelFormat MakeHostFormat(const FormatRules& rules) noexcept;

#define RASTER_FORMAT(NAME, CODE, ...)                                                      \
    extern const PixelFormat NAME##Format;                                                  \
    template <>                                                                             \
    constexpr PixelFormat MakeHostFormat<Format::NAME>(const FormatRules& rules) noexcept { \
        return MakePixelFormat<__VA_ARGS__>(Format::NAME, rules);                           \
    }
#include "Raster/HostFormats.inc"

}  // namespace Raster
