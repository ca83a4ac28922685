// What the service returns when it has removed a background.

#pragma once

#include "Kernel/MemoryInOutStream.h"

#include "remote/pictures/ServicePictures.h"

namespace Learning {

/// The picture in an archive, `width` by `height` in RGBA8: the colours of "color.jpg" with the
/// alpha that "alpha.png" has, or, if it is opaque, with its grey, of which white is opaque. Null
/// if the archive does not hold both in one size, readable, or both have more pixels than `budget`.
Picture ReadCutOut(const Kernel::Counted<Kernel::MemoryInOutStream>& archive, int width, int height,
                   PixelBudget budget = PixelBudget());

}  // namespace Learning
