// Reads PNG by way of libpng, whose header PngDecoder.cpp and PNGBase.cpp alone include.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/Decoder.h"

#include <memory>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is PNG.
bool IsPng(std::span<const std::byte> start) noexcept;

/// Reads grey files as GreyA8 or GreyA16, all others as RGBA8 or RGBA16. `source` must outlive the
/// decoder.
std::unique_ptr<Decoder> MakePngDecoder(BufferedSource& source);

}  // namespace Raster
