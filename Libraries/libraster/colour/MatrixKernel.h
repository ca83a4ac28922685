// Conversion of pixels by tone curves and a matrix (matrix/TRC).

#pragma once

#include "colour/ToneTable.h"

#include <array>
#include <cstddef>

namespace Raster {

/// A conversion of red, green and blue: decoding curves, matrix, encoding curves.
struct MatrixConversion {
    std::array<const ToneTable*, 3> decoding;
    std::array<std::array<float, 3>, 3> matrix;  // a row for each result
    std::array<const ToneTable*, 3> encoding;
};

/// Converts `count` pixels of RGBA in place; alpha is unchanged.
void RunMatrixConversion(const MatrixConversion& conversion, float* rgba, std::size_t count);

}  // namespace Raster
