// The colours of a picture.

#pragma once

#include "drawing/Picture.h"
#include "drawing/PromptWords.h"

namespace Service {

/// Colours that go together.
struct Palette {
    Colour zenith;   // of the sky
    Colour horizon;  // of the sky
    Colour sun;
    Colour distant;  // of what is far away
    Colour near;
    Colour accent;
    bool isNight = false;
};

/// The palette that the words of a prompt ask for; without such words one that `seed` chooses.
Palette ChoosePalette(const PromptWords& words, std::uint64_t seed);

/// The colours of `picture`, from its top to its bottom.
Palette TakePalette(const Picture& picture);

/// The colour that a prompt names: "a red car". `other` if it names none.
Colour FindNamedColour(const PromptWords& words, Colour other);

}  // namespace Service
