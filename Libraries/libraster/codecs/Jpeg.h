// Reads JPEG by way of libjpeg-turbo, whose headers Jpeg.cpp alone includes.

#pragma once

#include "Raster/Picture.h"

#include "codecs/BufferedSource.h"

#include <cstddef>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is JPEG.
bool IsJpeg(std::span<const std::byte> start) noexcept;

Picture ReadJpeg(BufferedSource& source);

}  // namespace Raster
