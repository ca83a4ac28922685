// Pictures as the bytes of files.

#pragma once

#include "drawing/Picture.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// The most pixels of a picture that clients send.
inline constexpr std::int64_t MaxPixels = 50'000'000;

enum class PictureKinds { JPEG, JPEGAndPNG };

/// The picture in `bytes`, upright. Null if that is of another kind, damaged, or has more than
/// MaxPixels.
PicturePointer ReadPicture(std::string_view bytes, PictureKinds kinds);

/// Whether `bytes` start as JPEG files do.
bool IsJPEG(std::string_view bytes) noexcept;

/// `quality`: as in Raster::ExportOptions. Alpha is dropped.
std::string WriteJPEG(const Picture& picture, int quality);
/// Without alpha.
std::string WritePNG(const Picture& picture);
/// A grey picture of `width` pixels a row.
std::string WriteGreyPNG(const std::vector<std::uint8_t>& values, int width);

}  // namespace Service
