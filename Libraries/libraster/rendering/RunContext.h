// What is settled once for a run on the host: how its source lies, and the quickest way to take it.

#pragma once

#include "Raster/Rendering.h"

#include "resampling/Resampler.h"

#include <memory>

namespace Raster {

struct RunContext;

/// Converts a part of the destination without the intermediate.
using DirectWay = bool (*)(const RunContext& context, const Rect& rect);

/// What all tiles of a run have in common.
struct RunContext {
    HostRun run;
    Rect rect;
    int shiftX = 0;
    int shiftY = 0;
    std::unique_ptr<const Resampler> resampler = nullptr;  // null if pixels are shifted only
    bool isLarge = false;
    DirectWay direct = nullptr;  // null if pixels must pass through the intermediate

    /// Whether the destination's pixels become the source's, and nothing else happens to them.
    bool IsPlain() const noexcept;
};

/// For `rect`, which lies in the destination and is not empty.
RunContext PrepareRun(const HostRun& run, const Rect& rect);

}  // namespace Raster
