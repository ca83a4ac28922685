// Reading picture files whose type is found from their data.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/Export.h"
#include "Raster/Picture.h"

namespace Raster {

/// Reads a PNG or JPEG picture of any kind from where `stream` stands. The file goes through in
/// small pieces; bytes beyond the picture may have been read as well. Colours are taken as they
/// are, without regard to colour profiles or to how the camera was held.
///
/// Throws CodecException if it is no such picture, if any of it is missing or damaged, or if its
/// size is not supported by Picture: there is never half a picture.
RASTER_API Picture ReadPicture(Kernel::InStream& stream);

}  // namespace Raster
