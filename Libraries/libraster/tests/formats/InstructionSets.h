// Running tests on every instruction set of this machine, whose results must be equal.

#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>

namespace Raster::Testing {

/// Lets Highway choose from `targets` only; 0 for all that there are.
inline void UseTargets(std::int64_t targets) {
    hwy::SetSupportedTargetsForTest(targets);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

/// Calls `test` with each instruction set in turn.
template <class Test>
void ForTargets(Test test) {
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        UseTargets(target);
        SCOPED_TRACE(hwy::TargetName(target));
        test();
    }
    UseTargets(0);
}

}  // namespace Raster::Testing
