// The JPEG decoder, by libjpeg-turbo, whose headers only JPEGDecoder.cpp and JPEG.cpp include.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/Decoder.h"

#include <memory>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is JPEG.
bool IsJPEG(std::span<const std::byte> start) noexcept;

/// Decodes grey files as GreyA8, files of four components (CMYK, YCCK) as CMYKA8, all others as
/// RGBA8. `source` must outlive the decoder.
std::unique_ptr<Decoder> MakeJPEGDecoder(BufferedSource& source);

}  // namespace Raster
