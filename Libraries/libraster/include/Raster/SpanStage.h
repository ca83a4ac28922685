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

    /// Whether ConvertBytes() is there, which some stages have.
    virtual bool HasByteWay() const noexcept { return false; }
    /// Reads `count` pixels of RGBA8, any number, applies this stage and writes them as RGBA8, to
    /// within one step of each sample. In one pass: it is several times as quick.
    virtual void ConvertBytes(const std::byte* /*source*/, std::byte* /*target*/,
                              std::size_t /*count*/) const {}
};

/// Stages in the order in which they are applied; none of them is null.
using SpanStages = std::vector<Kernel::Counted<const SpanStage>>;

}  // namespace Raster
