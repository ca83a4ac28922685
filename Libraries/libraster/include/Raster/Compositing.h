// The pixel operations that hosts and services ask for, on bitmaps of any format.

#pragma once

#include "Raster/DynamicBitmap.h"
#include "Raster/Rendering.h"

namespace Raster {

// Bitmaps are of any format and may differ in it; colours are converted where both bitmaps have a
// profile and the profiles differ. `abort`, if not null, ends an operation early once it is set,
// which then returns false or null. Impossible transforms (not finite, without a way back) are
// refused in the same way; sizes that no bitmap can have throw what the constructor of
// DynamicBitmap does. A source and its destination are different bitmaps.

/// Renders all of `source` over all of `destination`, replacing what is there: `transform` maps
/// source pixels to destination pixels.
RASTER_API bool Render(DynamicBitmap& destination, const DynamicBitmap& source,
                       const AffineTransform::Params& transform,
                       Sampler sampler = Sampler::Bilinear, bool* abort = nullptr);

/// Converts `source`, pixel by pixel; where the sizes differ, what both cover.
RASTER_API bool Convert(DynamicBitmap& destination, const DynamicBitmap& source,
                        bool* abort = nullptr);

/// `source` in another size; mapped edge to edge.
RASTER_API Kernel::Counted<DynamicBitmap> Resize(const DynamicBitmap& source, int width, int height,
                                                 Format format, Sampler sampler,
                                                 bool* abort = nullptr);

/// A new bitmap of the format and profile of `source` that holds `rect` of it; what lies beyond the
/// source is transparent. Counts the pixels that were copied.
RASTER_API Kernel::Counted<DynamicBitmap> CopyWithTally(const DynamicBitmap& source,
                                                        const Rect& rect, CopyTally& tally,
                                                        bool* abort = nullptr);

/// Lays `source` over `destination` with its alpha times `weight`.
RASTER_API bool CompositeOver(DynamicBitmap& destination, const DynamicBitmap& source,
                              const AffineTransform::Params& transform, float weight,
                              Sampler sampler = Sampler::Bilinear, bool* abort = nullptr);

/// Multiplies the alpha of `destination` by that of `mask`, which lies pixel on pixel; beyond the
/// mask nothing is left.
RASTER_API bool CompositeDestinationIn(DynamicBitmap& destination, const DynamicBitmap& mask,
                                       bool* abort = nullptr);

/// The colours of `colour` under the alpha of `alpha`, in the format of `colour`, which has one.
/// Null if the sizes differ.
RASTER_API Kernel::Counted<DynamicBitmap> JoinAlpha(const DynamicBitmap& colour,
                                                    const DynamicBitmap& alpha,
                                                    bool* abort = nullptr);

/// `source` with `border` transparent pixels on each side; a negative border trims, and what is
/// trimmed to nothing is empty.
RASTER_API Kernel::Counted<DynamicBitmap> AddBorder(const DynamicBitmap& source, int border,
                                                    bool* abort = nullptr);

/// Replaces each pixel by the mean, multiplied by alpha, of the square of `radius` pixels to each
/// side; the edge repeats. A radius of 0 or less changes nothing, and one beyond the larger side of
/// the bitmap is that side. Samples that are not finite count as 0.
RASTER_API Kernel::Counted<DynamicBitmap> BoxFilter(const DynamicBitmap& source, int radius,
                                                    bool* abort = nullptr);

}  // namespace Raster
