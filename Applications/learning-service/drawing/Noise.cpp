#include "drawing/Noise.h"

namespace Service {

namespace {

/// 0..1 for a point of the lattice. A short hash, since there are four for each pixel and octave.
float GetLatticeValue(std::int32_t x, std::int32_t y, std::uint32_t seed) noexcept {
    std::uint32_t hash = seed ^ (static_cast<std::uint32_t>(x) * 0x9E3779B1U) ^
                         (static_cast<std::uint32_t>(y) * 0x85EBCA77U);
    hash = (hash ^ (hash >> 15)) * 0x2C1B3C6DU;
    hash = (hash ^ (hash >> 12)) * 0x297A2D39U;
    return static_cast<float>((hash ^ (hash >> 15)) >> 8) / static_cast<float>(1 << 24);
}

/// std::floor() is a call on processors of the oldest kind, for which this is compiled.
std::int32_t RoundDown(float value) noexcept {
    const auto whole = static_cast<std::int32_t>(value);
    return whole - (value < static_cast<float>(whole) ? 1 : 0);
}

}  // namespace

float GetNoise(float x, float y, std::uint64_t seed) noexcept {
    const std::int32_t column = RoundDown(x);
    const std::int32_t row = RoundDown(y);
    const float dx = x - static_cast<float>(column);
    const float dy = y - static_cast<float>(row);
    const float sx = dx * dx * (3 - 2 * dx);
    const float sy = dy * dy * (3 - 2 * dy);
    const auto start = static_cast<std::uint32_t>(seed ^ (seed >> 32));
    const auto mixRow = [&](std::int32_t y0) {
        const float a = GetLatticeValue(column, y0, start);
        return a + (GetLatticeValue(column + 1, y0, start) - a) * sx;
    };
    const float upper = mixRow(row);
    return upper + (mixRow(row + 1) - upper) * sy;
}

float GetFractal(float x, float y, std::uint64_t seed, int octaves) noexcept {
    float sum = 0;
    float total = 0;
    float strength = 1;
    for (int i = 0; i < octaves; ++i) {
        sum += strength * GetNoise(x, y, seed + static_cast<std::uint64_t>(i));
        total += strength;
        strength /= 2;
        x *= 2;
        y *= 2;
    }
    return sum / total;
}

}  // namespace Service
