// Pixel operations for hosts and services: resampling, conversion, compositing, filters.

#pragma once

#include "Raster/DynamicBitmap.h"
#include "Raster/Rendering.h"

namespace Raster {

// Bitmaps are of any format and may differ in it; colours are converted by the profiles of both,
// see ICCManager::CreateConversion(). `abort`, if not null, ends an operation early once it is set,
// which then returns false or null. A transform that is not finite or not invertible, and colours
// that can't be converted, are refused in the same way, with nothing done; sizes that no bitmap can
// have throw what the constructor of DynamicBitmap does. A source and its destination are different
// bitmaps.

/// Resamples `source` and replaces all of `destination`: `transform` maps source coordinates to
/// destination coordinates. Pixels beyond the source become transparent. `stages` come last, after
/// the conversion of colours; CreateClearHiddenStage() belongs among them if the result is sent or
/// shown, since where nothing is resampled colours under alpha 0 stay what they are.
RASTER_API bool Render(DynamicBitmap& destination, const DynamicBitmap& source,
                       const AffineTransform::Params& transform,
                       Sampler sampler = Sampler::Bilinear, bool* abort = nullptr,
                       const SpanStages& stages = {});

/// Converts `source`, pixel by pixel; if the sizes differ, only the area that both have. `stages`
/// as for Render().
RASTER_API bool Convert(DynamicBitmap& destination, const DynamicBitmap& source,
                        bool* abort = nullptr, const SpanStages& stages = {});

/// `source` resampled to another size, edge to edge, with its profile. If that does not fit
/// `format`, such as a profile of inks, colours become sRGB, and the result has that profile if it
/// fits.
RASTER_API Kernel::Counted<DynamicBitmap> Resize(const DynamicBitmap& source, int width, int height,
                                                 Format format, Sampler sampler,
                                                 bool* abort = nullptr);

/// A new bitmap of the format and profile of `source` that holds `rect` of it; pixels beyond the
/// source are transparent. `tally` is set to the counts of the pixels copied.
RASTER_API Kernel::Counted<DynamicBitmap> CopyWithTally(const DynamicBitmap& source,
                                                        const Rect& rect, CopyTally& tally,
                                                        bool* abort = nullptr);

/// Sets `tally` to the counts of the pixels of `rect` that lie in `source`, without a copy.
RASTER_API bool TallyAlpha(const DynamicBitmap& source, const Rect& rect, CopyTally& tally,
                           bool* abort = nullptr);

/// Composites `source` over `destination` (Porter-Duff over), its alpha multiplied by `weight`.
RASTER_API bool CompositeOver(DynamicBitmap& destination, const DynamicBitmap& source,
                              const AffineTransform::Params& transform, float weight,
                              Sampler sampler = Sampler::Bilinear, bool* abort = nullptr);

/// Multiplies the alpha of `destination` by that of `mask` (Porter-Duff destination-in), pixel by
/// pixel; pixels beyond the mask become transparent.
RASTER_API bool CompositeDestinationIn(DynamicBitmap& destination, const DynamicBitmap& mask,
                                       bool* abort = nullptr);

/// Replaces the alpha of `picture`, which must have an alpha channel, by that of `alpha`, in place;
/// pixels that become transparent lose their colours. False if the sizes differ.
RASTER_API bool SetAlpha(DynamicBitmap& picture, const DynamicBitmap& alpha, bool* abort = nullptr);

/// The same in a copy of `colour`. Null if the sizes differ.
RASTER_API Kernel::Counted<DynamicBitmap> JoinAlpha(const DynamicBitmap& colour,
                                                    const DynamicBitmap& alpha,
                                                    bool* abort = nullptr);

/// `source` with `border` transparent pixels on each side; a negative border crops, down to an
/// empty bitmap.
RASTER_API Kernel::Counted<DynamicBitmap> AddBorder(const DynamicBitmap& source, int border,
                                                    bool* abort = nullptr);

/// Box blur: each pixel becomes the mean, in premultiplied alpha, of the square of `radius` pixels
/// to each side. Edge mode: clamp, the edge pixels repeat. A radius of 0 or less changes nothing;
/// it is limited to the larger side of the bitmap. Samples that are not finite count as 0, others
/// are limited to 2^24.
RASTER_API Kernel::Counted<DynamicBitmap> BoxFilter(const DynamicBitmap& source, int radius,
                                                    bool* abort = nullptr);

}  // namespace Raster
