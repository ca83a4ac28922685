// What the commands that turn a photo into a picture begin and end with.

#pragma once

#include "Raster/DynamicBitmap.h"

#include "commands/Commands.h"

namespace LearningApp {

struct PhotoAndNetwork {
    Kernel::Counted<Raster::DynamicBitmap> photo;
    Network network;
};

/// Checks that the result can be written, and reads the photo while it opens the network of `type`.
PhotoAndNetwork Begin(const Host& host, const PhotoOptions& options, ModelType type);

/// Writes the result.
void Save(const Host& host, const PhotoOptions& options, const Raster::DynamicBitmap& result);

}  // namespace LearningApp
