// The shape of an object as the service sees it.

#pragma once

#include "remote/pictures/ServicePictures.h"

namespace Learning {

/// The alpha of `region` as a bitmap of its own, with as many bits as it has there.
Picture MakeMask(const Raster::DynamicBitmap& region);

/// The mask in RGBA8: its alpha as grey, white on the object, for formats of alpha alone, which
/// would be black by their conversion; others, which a host may have made of it, as they are.
Picture DrawMask(const Raster::DynamicBitmap& mask);

}  // namespace Learning
