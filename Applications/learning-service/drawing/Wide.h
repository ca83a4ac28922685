// Scenes that are not of the land: the sea, space, and pictures of nothing.

#pragma once

#include "drawing/Stage.h"

namespace Service {

/// Mirrors the sky that is there.
void DrawSea(const Stage& stage);
void DrawPlanets(const Stage& stage);
void DrawFlow(const Stage& stage);

}  // namespace Service
