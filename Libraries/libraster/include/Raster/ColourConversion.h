// What it takes to turn the colours of one bitmap into those of another.

#pragma once

#include "Raster/SpanCodec.h"
#include "Raster/SpanStage.h"

#include <cstdint>

namespace Raster {

/// Which colours become which: see ICCManager::CreateConversion().
struct ColourConversion {
    enum class Answer : std::uint8_t {
        NoneNeeded,  // the colours stay, as all parts below are null
        Stages,      // at least one part below is not null
        Impossible,  // nothing may be converted: the result would have wrong colours
    };

    Answer answer = Answer::NoneNeeded;
    /// Between the intermediates of both.
    Kernel::Counted<const SpanStage> stage{};
    /// In place of the rules of the source's format, and of the destination's.
    Kernel::Counted<const SpanCodec> reader{};
    Kernel::Counted<const SpanCodec> writer{};
};

}  // namespace Raster
