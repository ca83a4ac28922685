// New content for a part of a picture.

#pragma once

#include "drawing/Picture.h"

#include <cstdint>
#include <string_view>

namespace Service {

/// How a part is filled.
struct Filling {
    std::string_view prompt;
    std::uint64_t variant = 0;
    float strength = 1;    // 0 leaves the picture as it is
    bool expands = false;  // beyond the edges of the mask
};

/// Draws a thing of the colour that the prompt names, else of that which the thing has, in its
/// manner, else as the letters of the prompt and the variant choose, where `mask`, of the same
/// size, is white. Pixels where it is black stay as they are, unless the filling expands.
void FillObject(Picture& picture, const Picture& mask, const Filling& filling);

}  // namespace Service
