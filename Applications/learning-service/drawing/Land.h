// The lower part of scenes on land.

#pragma once

#include "drawing/Stage.h"

namespace Service {

void DrawMountains(const Stage& stage);
void DrawDunes(const Stage& stage);
void DrawForest(const Stage& stage);
void DrawMeadow(const Stage& stage);
void DrawCity(const Stage& stage);

}  // namespace Service
