#include "PixelRows.h"

#include <algorithm>
#include <type_traits>

namespace PixelPeers {

namespace {

/// Marsaglia, "Xorshift RNGs" (2003).
class Random {
public:
    std::uint32_t Next() noexcept {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state;
    }
    float NextUnit() noexcept { return static_cast<float>(Next() >> 8) / 16777216.0F; }

private:
    std::uint32_t m_state = 0x9E3779B9U;
};

/// Adds to a plane the values of a coarse grid, interpolated.
void AddOctave(std::vector<float>& plane, Size size, int cell, float amplitude, Random& random) {
    const int gridWidth = size.width / cell + 2;
    const Size gridSize{gridWidth, size.height / cell + 2};
    std::vector<float> grid(gridSize.GetPixelCount());
    std::generate(grid.begin(), grid.end(), [&] { return random.NextUnit() * 2 - 1; });
    auto sample = plane.begin();
    for (int y = 0; y < size.height; ++y) {
        const float down = static_cast<float>(y % cell) / static_cast<float>(cell);
        for (int x = 0; x < size.width; ++x, ++sample) {
            const float right = static_cast<float>(x % cell) / static_cast<float>(cell);
            const float* const corner =
                &grid[static_cast<std::size_t>(y / cell * gridWidth + x / cell)];
            const float top = std::lerp(corner[0], corner[1], right);
            const float bottom = std::lerp(corner[gridWidth], corner[gridWidth + 1], right);
            *sample += amplitude * std::lerp(top, bottom, down);
        }
    }
}

}  // namespace

template <class Sample>
Bytes MakeNoise(std::size_t count) {
    Bytes noise(count * sizeof(Sample));
    Random random;
    std::generate_n(noise.As<Sample>(), count, [&] {
        if constexpr (std::is_same_v<Sample, float>) {
            return random.NextUnit() * 1.2F - 0.1F;
        } else {
            return static_cast<Sample>(random.Next() >> 8);
        }
    });
    return noise;
}
template Bytes MakeNoise<std::uint8_t>(std::size_t);
template Bytes MakeNoise<std::uint16_t>(std::size_t);
template Bytes MakeNoise<float>(std::size_t);

Bytes MakePhoto(Size size) {
    Bytes photo(size.GetPixelCount() * 4);
    Random random;
    for (int channel = 0; channel < 3; ++channel) {
        std::vector<float> plane(size.GetPixelCount(), 120.0F);
        float amplitude = 45;
        for (int cell = 512; cell >= 2; cell /= 2, amplitude *= 0.8F) {
            AddOctave(plane, size, cell, amplitude, random);
        }
        for (std::size_t i = 0; i < plane.size(); ++i) {
            const int x = static_cast<int>(i % static_cast<std::size_t>(size.width)) % 400 - 200;
            const int y = static_cast<int>(i / static_cast<std::size_t>(size.width)) % 300 - 150;
            const float disc = x * x + y * y < 90 * 90 ? 16.0F : -4.0F;
            const float grain = random.NextUnit() * 7 - 3.5F;
            const float value = plane[i] + disc * static_cast<float>(channel + 1) + grain;
            std::uint8_t* const pixel = photo.As<std::uint8_t>() + i * 4;
            pixel[channel] = static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F));
            pixel[3] = 255;
        }
    }
    return photo;
}

Bytes MakeCutout(Size size) {
    Bytes cutout = MakePhoto(size);
    const int radius = size.height * 2 / 5;
    std::uint8_t* alpha = cutout.As<std::uint8_t>() + 3;
    for (int y = -size.height / 2; y < size.height - size.height / 2; ++y) {
        for (int x = -size.width / 2; x < size.width - size.width / 2; ++x, alpha += 4) {
            *alpha = static_cast<std::uint8_t>(
                std::clamp((radius * radius - x * x - y * y) / 20, 0, 255));
        }
    }
    return cutout;
}

}  // namespace PixelPeers
