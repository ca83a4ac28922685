// Changes to a picture by the words of a prompt.

#pragma once

#include "drawing/Picture.h"

#include <string_view>

namespace Service {

/// Does all that `prompt` names and this knows ("black and white", "sunset", "sketch", "snow",
/// ...); if that is nothing, turns the hues by an angle that the letters of the prompt choose. The
/// picture keeps its size and its alpha.
void EditPicture(Picture& picture, std::string_view prompt);

}  // namespace Service
