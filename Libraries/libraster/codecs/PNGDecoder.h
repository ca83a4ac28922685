// Reads PNG by way of libpng, whose header PNGDecoder.cpp and PNGBase.cpp alone include.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/Decoder.h"

#include <memory>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is PNG.
bool IsPNG(std::span<const std::byte> start) noexcept;

/// Reads grey files as GreyA8 or GreyA16, all others as RGBA8 or RGBA16. `source` must outlive the
/// decoder.
std::unique_ptr<Decoder> MakePNGDecoder(BufferedSource& source);

}  // namespace Raster
