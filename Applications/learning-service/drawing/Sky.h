// The upper part of scenes.

#pragma once

#include "drawing/Stage.h"

namespace Service {

/// What is to be seen in a sky besides its colour.
struct SkyContent {
    bool hasSun = true;  // or the moon, in the night
    bool hasClouds = true;
    bool hasNebula = false;
};

void DrawSky(const Stage& stage, const SkyContent& content);

}  // namespace Service
