// Numbers that look random and are the same each time.

#pragma once

#include <cstdint>

namespace Service {

/// The finaliser of SplitMix64 (Steele, Lea, Flood 2014): each bit depends on all of `value`.
constexpr std::uint64_t Scramble(std::uint64_t value) noexcept {
    value += 0x9E3779B97F4A7C15;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
}

/// 0..1, without 1, of `value`.
constexpr float ToUnit(std::uint64_t value) noexcept {
    return static_cast<float>(Scramble(value) >> 40) / static_cast<float>(1 << 24);
}

/// A row of such numbers.
class Random {
public:
    explicit constexpr Random(std::uint64_t seed) noexcept : m_state(Scramble(seed)) {}

    constexpr float Between(float low, float high) noexcept {
        return low + (high - low) * ToUnit(++m_state);
    }
    /// 0 to `count` - 1.
    constexpr int Below(int count) noexcept {
        return static_cast<int>(Between(0, 1) * static_cast<float>(count));
    }

private:
    std::uint64_t m_state;
};

}  // namespace Service
