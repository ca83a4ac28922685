// Conversion of pixels by tone curves and a matrix (matrix/TRC).

#pragma once

#include "colour/ByteCurve.h"
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

/// The same for 8 bits a sample.
struct ByteConversion {
    std::array<DecodingCubics, 3> decoding;
    std::array<EncodingCubics, 3> encoding;
    std::array<std::array<float, 3>, 3> matrix;
    bool areCurvesEqual;  // those of red, green and blue
};

/// Converts `count` pixels of RGBA8; alpha is copied. The machine must be little-endian.
void RunByteConversion(const ByteConversion& conversion, const std::byte* source, std::byte* target,
                       std::size_t count);

}  // namespace Raster
