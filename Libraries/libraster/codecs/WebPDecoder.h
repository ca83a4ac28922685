// The WebP decoder, by libwebp and libwebpdemux, whose headers only WebPDecoder.cpp includes. They
// are opened when the first WebP file is read.

#pragma once

#include "codecs/BufferedSource.h"
#include "codecs/Decoder.h"

#include <memory>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is WebP.
bool IsWebP(std::span<const std::byte> start) noexcept;

/// Decodes as RGBA8. Animations are refused. The file is held in memory, and so are the decoded
/// pixels, since libwebp has no smaller buffer. `source` must outlive the decoder.
std::unique_ptr<Decoder> MakeWebPDecoder(BufferedSource& source);

}  // namespace Raster
