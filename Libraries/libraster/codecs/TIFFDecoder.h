// The TIFF decoder, by libtiff.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/Decoder.h"

#include <memory>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is TIFF, BigTIFF included.
bool IsTIFF(std::span<const std::byte> start) noexcept;

/// Decodes the first picture of a file: grey as GreyA8 or GreyA16, inks as CMYKA8, floats as RGBAF,
/// all others as RGBA8 or RGBA16. `source` must outlive the decoder.
std::unique_ptr<Decoder> MakeTIFFDecoder(BufferedSource& source);

}  // namespace Raster
