// The PNG decoder, by libpng, whose header is included in PNGDecoder.cpp and PNGBase.cpp only.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/Decoder.h"

#include <memory>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is PNG.
bool IsPNG(std::span<const std::byte> start) noexcept;

/// Decodes grey files as GreyA8 or GreyA16, all others as RGBA8 or RGBA16. `source` must outlive
/// the decoder.
std::unique_ptr<Decoder> MakePNGDecoder(BufferedSource& source);

}  // namespace Raster
