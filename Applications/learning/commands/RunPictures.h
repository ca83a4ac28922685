// Pictures that `learning run` makes from the outputs of a network.

#pragma once

#include "Learning/Tensor.h"
#include "Raster/DynamicBitmap.h"

#include <vector>

namespace LearningApp {

/// A photo, and the planes of it that went into the network.
struct PhotoInput {
    Kernel::Counted<Raster::DynamicBitmap> photo;
    Kernel::Counted<Learning::Tensor> planes;
};

/// How many channels the picture of that shape has: {1, c, h, w}, {c, h, w} or {h, w} with c 1, 3
/// or 4; 0 if it is none.
int CountPictureChannels(std::vector<int> shape);

/// The picture that `planes` are: grey, RGB or RGBA in sRGB, 0..1. It has the bits a sample and the
/// profile of the photo among `inputs` that is most like it; 8 bits and no profile without one. A
/// photo of its size lends it its alpha, unless it is a grey picture from a photo with colours; a
/// pixel that the network gives back as it got it is that of the photo.
Kernel::Counted<Raster::DynamicBitmap> MakeResult(const Learning::Tensor& planes,
                                                  const std::vector<PhotoInput>& inputs);

}  // namespace LearningApp
