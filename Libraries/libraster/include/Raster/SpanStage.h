// A stage of a pipeline, which transforms pixels.

#pragma once

#include "Kernel/Counted.h"
#include "Raster/Export.h"

#include <cstddef>
#include <vector>

namespace Raster {

/// Transforms spans of unit-float RGBA with straight alpha in place, for example from one colour
/// space to another.
///
/// Threads: Apply() is called concurrently and throws nothing.
class RASTER_API SpanStage : public Kernel::Countable {
public:
    /// `rgba` holds `count` pixels of four floats, 64-byte aligned; `count` is at most 128.
    virtual void Apply(float* rgba, std::size_t count) const = 0;
};

/// Stages in the order in which they are applied; none of them is null.
using SpanStages = std::vector<Kernel::Counted<const SpanStage>>;

}  // namespace Raster
