// Pictures as files to upload.

#pragma once

#include "Raster/DynamicBitmap.h"

#include <cstddef>
#include <vector>

namespace Learning {

/// The service takes files of fewer bytes.
inline constexpr std::size_t UploadLimit = 22'000'000;

/// `picture`, in RGBA8, as a file of fewer than `limit` bytes: a JPEG of the best quality that fits
/// if it is opaque, else a PNG. Empty if it does not fit. Throws Kernel::Aborted, and what the
/// encoders throw.
std::vector<std::byte> EncodeForUpload(const Raster::DynamicBitmap& picture,
                                       std::size_t limit = UploadLimit);

}  // namespace Learning
