// Reads PNG by way of libpng, whose header Png.cpp and PNGBase.cpp alone include.

#pragma once

#include "Raster/Picture.h"

#include "codecs/BufferedSource.h"

#include <cstddef>
#include <span>

namespace Raster {

/// Whether a file that starts with the bytes `start` is PNG.
bool IsPng(std::span<const std::byte> start) noexcept;

Picture ReadPng(BufferedSource& source);

}  // namespace Raster
