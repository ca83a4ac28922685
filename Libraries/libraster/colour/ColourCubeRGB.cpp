#include "Raster/ColourCubeRGB.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace Raster {

namespace {

/// A position between two lattice points along one axis.
struct Place {
    std::size_t step;   // from one lattice point to the next
    std::size_t start;  // of the lower one
    float share;        // of the upper one
};

Place Locate(float value, int size, std::size_t step) noexcept {
    const float unit = value > 0 ? std::min(value, 1.0F) : 0.0F;  // NaN to 0, too
    const float at = unit * static_cast<float>(size - 1);
    const int low = std::min(static_cast<int>(at), size - 2);
    return {step, static_cast<std::size_t>(low) * step, at - static_cast<float>(low)};
}

void Mix(const float* from, const float* to, float share, float* result) noexcept {
    for (std::size_t i = 0; i < 3; ++i) {
        result[i] = from[i] * (1 - share) + to[i] * share;
    }
}

/// Interpolates along red four times, along green twice, along blue once.
void LookUpTrilinear(const float* cell, const std::array<Place, 3>& places, float* rgb) noexcept {
    const auto& [red, green, blue] = places;
    float faces[2][3];
    for (std::size_t face = 0; face < 2; ++face) {
        float edges[2][3];
        for (std::size_t edge = 0; edge < 2; ++edge) {
            const float* const corner = cell + face * blue.step + edge * green.step;
            Mix(corner, corner + red.step, red.share, edges[edge]);
        }
        Mix(edges[0], edges[1], green.share, faces[face]);
    }
    Mix(faces[0], faces[1], blue.share, rgb);
}

/// The four corners on the path from the lowest to the highest, along the axis of the largest share
/// first, are those of the tetrahedron that contains the colour.
void LookUpTetrahedral(const float* cell, std::array<Place, 3> places, float* rgb) noexcept {
    std::ranges::stable_sort(places, std::greater(), &Place::share);
    const float* const a = cell + places[0].step;
    const float* const b = a + places[1].step;
    const float* const c = b + places[2].step;
    const float weights[4] = {1 - places[0].share, places[0].share - places[1].share,
                              places[1].share - places[2].share, places[2].share};
    for (std::size_t i = 0; i < 3; ++i) {
        rgb[i] = cell[i] * weights[0] + a[i] * weights[1] + b[i] * weights[2] + c[i] * weights[3];
    }
}

std::vector<float> MakeIdentity(const Kernel::String& name) {
    if (name != "Identity") {
        throw std::invalid_argument("There is no colour cube of that name: use \"Identity\"");
    }
    std::vector<float> colours;
    for (int corner = 0; corner < 8; ++corner) {
        for (int axis = 0; axis < 3; ++axis) {
            colours.push_back(static_cast<float>(corner >> axis & 1));
        }
    }
    return colours;
}

}  // namespace

ColourCubeRGB::ColourCubeRGB(const Kernel::String& name, Interpolation interpolation)
    : ColourCubeRGB(2, MakeIdentity(name), interpolation) {}

ColourCubeRGB::ColourCubeRGB(int size, std::span<const float> colours, Interpolation interpolation)
    : m_size(size), m_interpolation(interpolation) {
    const auto side = static_cast<std::size_t>(std::clamp(size, 0, MaximumSize + 1));
    if (size < 2 || size > MaximumSize || colours.size() != side * side * side * 3) {
        throw std::invalid_argument(
            "A colour cube has 2 to 129 colours to a side, of three numbers");
    }
    m_colours.reserve(side * side * side * 4);
    for (std::size_t i = 0; i < colours.size(); i += 3) {
        m_colours.insert(m_colours.end(), {colours[i], colours[i + 1], colours[i + 2], 0});
    }
}

void ColourCubeRGB::Apply(float* rgba, std::size_t count) const {
    const auto side = static_cast<std::size_t>(m_size);
    for (float* pixel = rgba; pixel < rgba + count * 4; pixel += 4) {
        const std::array places{Locate(pixel[0], m_size, 4), Locate(pixel[1], m_size, side * 4),
                                Locate(pixel[2], m_size, side * side * 4)};
        const float* const cell =
            m_colours.data() + places[0].start + places[1].start + places[2].start;
        if (m_interpolation == Interpolation::Trilinear) {
            LookUpTrilinear(cell, places, pixel);
        } else {
            LookUpTetrahedral(cell, places, pixel);
        }
    }
}

}  // namespace Raster
