// Pictures as texts in JSON.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/String.h"
#include "Raster/ExportOptions.h"
#include "Raster/PixelView.h"

namespace Learning {

/// The base64 text of a JPEG file of `pixels`, without their alpha. Rows are encoded on the way to
/// the text: the file is never in memory. Throws std::invalid_argument for a side that is not
/// 1..65500, Kernel::Aborted once `abort` is set, and std::bad_alloc.
Kernel::String EncodeAsText(const Raster::ConstPixelView& pixels,
                            const Raster::ExportOptions& options, Kernel::AbortFlag abort);

}  // namespace Learning
