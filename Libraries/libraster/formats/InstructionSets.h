// The instruction sets that Highway's dispatch may choose from.

#pragma once

#include <cstdint>
#include <vector>

namespace Raster {

/// Those of this processor for which our code is compiled, as Highway's bits, such as HWY_AVX2.
std::vector<std::int64_t> GetInstructionSets();

/// Lets the dispatch choose from `sets` only; 0 for all. For tests, whose results must not depend
/// on it.
void UseInstructionSets(std::int64_t sets);

}  // namespace Raster
