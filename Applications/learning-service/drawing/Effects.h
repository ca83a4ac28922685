// What styles and edits do to whole pictures.

#pragma once

#include "drawing/Picture.h"

namespace Service {

void DrawRelief(Picture& picture);    // brings out what is small
void DrawBokeh(Picture& picture);     // blurs, with discs of light
void DrawBars(Picture& picture);      // of a wide screen
void DrawSwirl(Picture& picture);     // bends all lines
void DrawGlow(Picture& picture);      // softens what is light
void DrawHalftone(Picture& picture);  // dots as of a printed comic
void DrawFlat(Picture& picture);      // takes small things out
void DrawOutlines(Picture& picture);  // around what is there
void DrawSketch(Picture& picture);    // by pencil, on paper
void DrawColourSketch(Picture& picture);
void DrawBlur(Picture& picture);

}  // namespace Service
