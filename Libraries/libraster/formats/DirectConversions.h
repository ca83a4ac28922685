// The pairs of formats that are converted without the intermediate, and plain copies.

#pragma once

#include "Raster/PixelFormat.h"

namespace Raster {

// The direct conversions into each format, for its object.
extern const DirectConversion IntoRGBA8[4];
extern const DirectConversion IntoRGBA16[1];
extern const DirectConversion IntoRGBAF[1];
extern const DirectConversion IntoGreyA8[1];
extern const DirectConversion IntoCMYKA8[1];
extern const DirectConversion IntoAlpha8[1];

/// Copies a block whose rows have `width` bytes: the conversion of any format to itself.
/// `isLarge` as for BlockConverter.
void CopyBlock(const SourceBlock& source, const DestinationBlock& destination, std::size_t width,
               std::size_t height, bool isLarge);

}  // namespace Raster
