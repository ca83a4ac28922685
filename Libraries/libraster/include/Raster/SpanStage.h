// A step that changes pixels on their way through a pipeline.

#pragma once

#include "Kernel/Counted.h"
#include "Raster/Export.h"

#include <cstddef>

namespace Raster {

/// Changes runs of unit-float RGBA in place, for example from one colour space to another. Colours
/// are not multiplied by alpha.
///
/// Threads: Apply() is called by many at once and throws nothing.
class RASTER_API SpanStage : public Kernel::Countable {
public:
    /// `rgba` holds `count` pixels of four floats, 64-byte aligned; `count` is at most 128.
    virtual void Apply(float* rgba, std::size_t count) const = 0;
};

}  // namespace Raster
