// The parameters of a pipeline's run: transform, sampler, stages, blend mode, mask.

#pragma once

#include "Raster/AbortFlag.h"
#include "Raster/AffineTransform.h"
#include "Raster/ColourConversion.h"
#include "Raster/Sampler.h"
#include "Raster/SpanCodec.h"
#include "Raster/SpanStage.h"
#include "Raster/Spans.h"

#include <cstdint>
#include <optional>

namespace Raster {

/// Blend modes. Source and destination have straight alpha; a result of alpha 0 has colour 0, so
/// that hidden colours do not bleed, except under Replace without mask, which keeps pixels
/// unchanged. Formulas: Porter and Duff, "Compositing Digital Images" (1984).
enum class Blend : std::uint8_t {
    Replace,        // the source, in place of the destination
    Over,           // the source over the destination
    DestinationIn,  // the destination, its alpha multiplied by the source's
    JoinAlpha,      // the destination's colours with the source's alpha
};

/// Counts of the source's pixels by alpha, for a run without resampling.
struct CopyTally {
    std::uint64_t transparent = 0;  // alpha 0 or less
    std::uint64_t translucent = 0;
    std::uint64_t opaque = 0;  // alpha 1 or more
};

/// A plain conversion by default.
struct Rendering {
    /// Maps source to destination coordinates; the identity if empty. A map within a thousandth of
    /// a pixel of one by whole pixels or quarter turns, or of an upright one, is taken for that.
    /// Edge mode: outside its bounds a source is transparent, and Over leaves such pixels
    /// unchanged.
    std::optional<AffineTransform::Params> transform;
    Sampler sampler = Sampler::Bilinear;
    /// In place of the rules of the source's format, and of the destination's; may be null.
    Kernel::Counted<const SpanCodec> reader{};
    Kernel::Counted<const SpanCodec> writer{};
    /// Applied in order, after sampling.
    SpanStages stages;
    Blend blend = Blend::Replace;
    /// Multiplies the source's alpha under Over, 0..1.
    float weight = 1;
    /// Incremented by the pixels of the run, unless null.
    CopyTally* tally = nullptr;
};

/// The host's side of one run.
struct HostRun {
    const SpanSource* source = nullptr;
    SpanTarget* destination = nullptr;
    /// Its alpha weights the result, pixel by pixel: where it is 0, the destination is unchanged.
    /// It is transparent outside its bounds. Null: no mask.
    const SpanSource* mask = nullptr;
    const Rendering* rendering = nullptr;
    const bool* abort = nullptr;
};

/// Whether `rendering` can be done: a transform must be finite and invertible.
RASTER_API bool IsPossible(const Rendering& rendering) noexcept;

/// Makes a rendering convert colours, after what stages it has. False if that is impossible.
[[nodiscard]] RASTER_API bool AddColours(Rendering& rendering, const ColourConversion& colours);

/// Does the work over `rect`, which lies in the destination, in tiles of 128 by 256 pixels: a
/// single one on the calling thread, several in parallel on the dispatcher. Ends early when the
/// flag is set. Throws std::invalid_argument if the transform is not invertible. Not checked: the
/// destination's pixels must not be the source's.
RASTER_API void RunHostPath(const HostRun& run, const Rect& rect);

}  // namespace Raster
