// The work of a conversion by curves and a matrix.

#pragma once

#include "colour/ToneTable.h"

#include <array>
#include <cstddef>

namespace Raster {

/// What is done to red, green and blue.
struct MatrixConversion {
    std::array<const ToneTable*, 3> decoding;
    std::array<std::array<float, 3>, 3> matrix;  // a row for each result
    std::array<const ToneTable*, 3> encoding;
};

/// Converts `count` pixels of RGBA in place; alpha stays.
void RunMatrixConversion(const MatrixConversion& conversion, float* rgba, std::size_t count);

}  // namespace Raster
