// Pictures on their way to the service and back.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Streams.h"
#include "Learning/RemoteOptions.h"
#include "Raster/AffineTransform.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/ICCProfile.h"

#include "remote/pictures/PixelBudget.h"

namespace Learning {

using Picture = Kernel::Counted<Raster::DynamicBitmap>;

/// The profile in which pictures are sent: sRGB.
Kernel::Consolidated<Raster::ICCProfile> GetServiceProfile();

/// A flag that ends the work on pictures as the raster library takes it; null without a control.
bool* GetRasterFlag() noexcept;

/// Throws Kernel::Aborted if a control has ended the operation, else std::runtime_error: for work
/// on pictures that did not end well.
[[noreturn]] void ThrowUnfinished();

/// The box of what can be seen of `picture`; empty for null. Throws Kernel::Aborted.
Raster::Rect FindVisible(const Raster::DynamicBitmap* picture);

/// What of `source` lies in a picture of `width` by `height` in RGBA8 and sRGB, after `transform`,
/// which need not be invertible: there is nothing then. `profile` is that of the colours of
/// `source`; without one they are sRGB, too. Throws std::invalid_argument for one that is for other
/// colours than the source has. Pixels that are fully transparent have no colour: what the user has
/// erased stays here.
Picture RenderForService(const Raster::DynamicBitmap& source,
                         const Kernel::Consolidated<Raster::ICCProfile>& profile,
                         const Raster::AffineTransform::Params& transform, int width, int height);

/// The picture in a file that came from the service, in `format`, and in the colours of `profile`
/// if there is one; null if there is none that can be read, or it has more pixels than `budget`,
/// for which no memory is taken then. Its pixels are taken out of `budget`, even if they turn out
/// to be damaged. Throws Kernel::Aborted.
Picture DecodePicture(Kernel::InStream& file, PixelBudget& budget,
                      Raster::Format format = Raster::Format::RGBA8,
                      const Kernel::Consolidated<Raster::ICCProfile>& profile = {});

}  // namespace Learning
