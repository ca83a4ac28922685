// The styles of pictures.

#pragma once

#include "drawing/Picture.h"

#include <cstdint>
#include <string_view>

namespace Service {

/// What a style makes of a picture.
struct Look {
    float saturation = 1;
    float contrast = 1;
    float warmth = 0;    // -1 is blue, 1 orange
    float vignette = 0;  // how dark the corners are
    float grain = 0;
    int levels = 0;                              // of each colour; 0 for all
    void (*effect)(Picture& picture) = nullptr;  // applied first
};

/// The look of the style that clients ask for by that identifier; null if there is none.
const Look* FindLook(std::string_view id);

/// The same numbers for `seed` give the same grain.
void ApplyLook(Picture& picture, const Look& look, std::uint64_t seed);

}  // namespace Service
