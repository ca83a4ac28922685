// Smooth noise for clouds, ridges and marble.

#pragma once

#include <cstdint>

namespace Service {

/// Value noise on a lattice of whole numbers, 0..1.
float GetNoise(float x, float y, std::uint64_t seed) noexcept;

/// The sum of `octaves` of it, each twice as fine and half as strong as the one before, 0..1.
float GetFractal(float x, float y, std::uint64_t seed, int octaves) noexcept;

}  // namespace Service
