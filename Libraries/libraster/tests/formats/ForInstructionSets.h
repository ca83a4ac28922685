// Running tests on every instruction set of this machine, whose results must be equal.

#pragma once

#include "formats/InstructionSets.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>

namespace Raster::Testing {

/// Calls `test` with each instruction set in turn.
template <class Test>
void ForTargets(Test test) {
    for (const std::int64_t target : GetInstructionSets()) {
        UseInstructionSets(target);
        SCOPED_TRACE(hwy::TargetName(target));
        test();
    }
    UseInstructionSets(0);
}

}  // namespace Raster::Testing
