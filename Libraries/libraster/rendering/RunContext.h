// The precomputed data of a run on the host: translation or resampler, and direct conversion.

#pragma once

#include "Raster/Rendering.h"

#include "resampling/Resampler.h"

#include <memory>

namespace Raster {

struct RunContext;

/// Converts a part of the destination without the intermediate.
using DirectWay = void (*)(const RunContext& context, const Rect& rect);

/// The data shared by all tiles of a run.
struct RunContext {
    HostRun run;
    Rect rect;
    int shiftX = 0;
    int shiftY = 0;
    std::unique_ptr<const Resampler> resampler = nullptr;  // null if pixels are only translated
    DirectWay direct = nullptr;  // null if pixels must pass through the intermediate

    /// Whether the source's pixels replace the destination's, without mask and stages.
    bool IsPlain() const noexcept;
};

/// For `rect`, which lies in the destination and is not empty.
RunContext PrepareRun(const HostRun& run, const Rect& rect);

}  // namespace Raster
