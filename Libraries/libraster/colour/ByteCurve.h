// Tone curves for 8 bits a sample, as one cubic polynomial for each octave.

#pragma once

#include "colour/ToneTable.h"

#include <array>
#include <cstddef>
#include <optional>

namespace Raster {

/// A function of values from 2^-Count to below 1. A cubic of an octave is close to the curve of a
/// display, and the tables of all octaves fit into a few vector registers, where looking up is
/// several times as quick as in memory.
template <std::size_t Count>
struct OctaveCubics {
    static constexpr std::size_t OctaveCount = Count;

    /// The place of an octave: the exponent of its floats, modulo Count.
    static constexpr std::size_t GetPlace(int octave) noexcept {
        return static_cast<std::size_t>(octave + 127) % Count;
    }

    alignas(64) std::array<std::array<float, Count>, 4> coefficients;  // of the powers 0 to 3
};

/// From encoded values to light: of 0, which is in the place of octave -15, of 1/255 to 1, and of 1
/// itself, in the place of octave 0.
using DecodingCubics = OctaveCubics<16>;
/// From light to the 8 bits of encoded values, plus 0.5: to be truncated, and from 0 to 255 then.
using EncodingCubics = OctaveCubics<32>;

// Empty if a cubic is further from the curve than a tenth of an encoded step of 8 bits.
std::optional<DecodingCubics> FitDecoding(const ToneCurve& curve);
std::optional<EncodingCubics> FitEncoding(const ToneCurve& curve);

}  // namespace Raster
