// Finding what a picture is of.

#pragma once

#include "drawing/Picture.h"

#include <cstdint>
#include <vector>

namespace Service {

/// How opaque each pixel of `picture` should be for its background to vanish, row by row.
/// Background is what has colours of the picture's border and hangs together with it; alpha that
/// the picture has counts, too. Where nothing stands out from the border, or nothing has its
/// colours, all stays.
std::vector<std::uint8_t> FindForeground(const Picture& picture);

}  // namespace Service
