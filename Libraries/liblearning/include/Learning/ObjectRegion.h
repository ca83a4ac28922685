// The region around an object that the service replaces.

#pragma once

#include "Kernel/Rect.h"
#include "Learning/Export.h"
#include "Raster/AffineTransform.h"

namespace Learning {

/// A region of a document, reduced by a factor that is a power of two.
struct ObjectRegion {
    int width = 0;
    int height = 0;
    /// Takes the region's pixels to the document.
    Raster::AffineTransform::Params placement;

    bool operator==(const ObjectRegion&) const = default;
};

/// The region that RemoteInference::InferImageObjectReplacement() sends, and that a helper
/// prepares, for an object whose box lies at `box` in a document that may be sent within `bounds`:
/// the box with a margin of half of its larger side, cut to the bounds, then halved until no side
/// is longer than 1504, and widened, about its middle, until none is shorter than 512; that may
/// leave the bounds. A box outside of them gives the region at their origin.
LEARNING_API ObjectRegion CutObjectRegion(const Kernel::RectT<int>& box,
                                          const Kernel::RectT<int>& bounds) noexcept;

}  // namespace Learning
