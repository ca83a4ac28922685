// What the commands that turn photos into pictures begin and end with.

#pragma once

#include "Raster/DynamicBitmap.h"

#include "commands/Commands.h"
#include "files/Files.h"
#include "files/PhotoColours.h"

#include <functional>

namespace LearningApp {

struct PhotoAndNetwork {
    Kernel::Counted<Raster::DynamicBitmap> photo;
    PhotoColours colours;  // of the photo
    Network network;
};

/// Checks that the result can be written, and reads the photo while it opens the network of `type`.
PhotoAndNetwork Begin(const Host& host, const PhotoTask& task, ModelType type,
                      PhotoUse use = PhotoUse::AsItIs);

/// Writes the result and says so, and `more` about it.
void Finish(const Host& host, const PhotoTask& task, const Raster::DynamicBitmap& result,
            std::string_view more = {});

}  // namespace LearningApp
