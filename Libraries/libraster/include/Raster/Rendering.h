// What a pipeline does on the way from source to destination.

#pragma once

#include "Raster/AbortFlag.h"
#include "Raster/AffineTransform.h"
#include "Raster/Sampler.h"
#include "Raster/SpanStage.h"
#include "Raster/Spans.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Raster {

/// How pixels meet what the destination holds. Colours are not multiplied by alpha on either side;
/// a pixel of alpha 0 comes out with colour 0, so that no hidden colour spreads, except under
/// Replace without mask, which keeps every pixel as it came. Formulas: Porter and Duff,
/// "Compositing Digital Images" (1984).
enum class Blend : std::uint8_t {
    Replace,        // the source, in place of the destination
    Over,           // the source over the destination
    DestinationIn,  // the destination where the source is: its alpha times the source's
    JoinAlpha,      // the destination's colours under the source's alpha
};

/// How many of the source's pixels are of each kind, for a run that is not resampled.
struct CopyTally {
    std::uint64_t transparent = 0;  // alpha 0 or less
    std::uint64_t translucent = 0;
    std::uint64_t opaque = 0;  // alpha 1 or more
};

/// A plain conversion by default.
struct Rendering {
    /// Maps the source onto the destination; without it, pixels keep their place. Outside its
    /// bounds a source is transparent: Over leaves such pixels alone.
    std::optional<AffineTransform::Params> transform;
    Sampler sampler = Sampler::Bilinear;
    /// Applied in order, after sampling.
    std::vector<Kernel::Counted<const SpanStage>> stages;
    Blend blend = Blend::Replace;
    /// Multiplies the source's alpha under Over, 0..1.
    float weight = 1;
    /// Added to as pixels pass, unless null.
    CopyTally* tally = nullptr;
};

/// The host's side of one run.
struct HostRun {
    const SpanSource* source = nullptr;
    SpanTarget* destination = nullptr;
    /// Where it is transparent, the destination stays; null for everywhere. Its alpha counts, and
    /// it lies over the destination pixel by pixel; outside its bounds it is transparent.
    const SpanSource* mask = nullptr;
    const Rendering* rendering = nullptr;
    const bool* abort = nullptr;
};

/// Whether `rendering` can be done: a transform must be finite and have a way back.
RASTER_API bool IsPossible(const Rendering& rendering) noexcept;

/// Does the work over `rect`, which lies in the destination, in tiles of 128 by 256 pixels: one on
/// the calling thread, more of them by the dispatcher. Ends early when the flag is set. Throws
/// std::invalid_argument for an impossible rendering. Not checked: the destination's pixels must
/// not be the source's.
RASTER_API void RunHostPath(const HostRun& run, const Rect& rect);

}  // namespace Raster
