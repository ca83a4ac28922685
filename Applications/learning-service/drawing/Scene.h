// Pictures of what a prompt describes, as far as a few hundred lines can draw it.

#pragma once

#include "drawing/Palette.h"
#include "drawing/Picture.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Service {

/// What to draw.
struct SceneRequest {
    std::string prompt;
    std::string negativePrompt;
    std::optional<Palette> palette;  // instead of that of the prompt
    std::uint64_t variant = 0;
};

/// An opaque picture: of what the prompt names (mountains, the sea, a city, ...), else of something
/// that its letters choose. Equal requests give equal pixels; another variant is another view.
PicturePointer DrawScene(const SceneRequest& request, int width, int height);

}  // namespace Service
