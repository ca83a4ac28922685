#include "drawing/Look.h"

#include "Learning/RemoteOptions.h"
#include "Learning/StyleNames.h"

#include "drawing/Effects.h"
#include "drawing/Random.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace Service {

namespace {

// In the order of the clients' table, which has the names and the identifiers.
constexpr Look Looks[] = {
    {1.15F, 1.1F, 0, 0.15F, 0, 0, DrawRelief},       // 3D render
    {1.1F, 1.05F, 0.1F, 0.3F, 0, 0, DrawBokeh},      // bokeh
    {0.9F, 1.2F, 0.15F, 0.5F, 0.02F, 0, DrawBars},   // cinematic
    {0.8F, 1.3F, -0.25F, 0.6F, 0.02F, 0, DrawBars},  // cinematic concept
    {1.5F, 1.1F, 0.3F, 0, 0, 0, DrawSwirl},          // creative
    {1.35F, 1.35F, 0, 0.2F, 0, 0, nullptr},          // dynamic
    {0.85F, 1.15F, 0.2F, 0.1F, 0, 0, DrawGlow},      // fashion
    {2, 1.4F, 0.1F, 0, 0, 4, DrawHalftone},          // pop art
    {1.25F, 1.1F, 0, 0, 0, 6, DrawFlat},             // vector
    {1.4F, 0.85F, 0, 0.1F, 0, 0, DrawRelief},        // HDR
    {1.15F, 1.1F, 0.1F, 0, 0, 8, DrawOutlines},      // illustration
    {1.2F, 1.15F, 0, 0.35F, 0, 0, DrawBokeh},        // macro
    {0.75F, 0.9F, 0.05F, 0, 0, 10, DrawFlat},        // minimalist
    {0.6F, 1.3F, -0.3F, 0.8F, 0.02F, 0, nullptr},    // moody
    {0.95F, 1.05F, 0.2F, 0.4F, 0, 0, DrawGlow},      // portrait
    {0, 1.35F, 0, 0.35F, 0.03F, 0, nullptr},         // black and white
    {1.1F, 1.1F, 0, 0, 0, 0, nullptr},               // professional colour
    {0.75F, 0.9F, 0.35F, 0.3F, 0.06F, 0, nullptr},   // professional film
    {0.7F, 1.2F, -0.1F, 0.25F, 0, 0, DrawGlow},      // fashion portrait
    {1.2F, 1.25F, -0.1F, 0.1F, 0, 0, DrawGlow},      // ray traced
    {0, 1.2F, 0, 0, 0.02F, 0, DrawSketch},           // sketch
    {1.3F, 1.1F, 0, 0, 0.02F, 0, DrawColourSketch},  // colour sketch
    {},                                              // stock photography
    {1.7F, 1.15F, 0.05F, 0, 0, 0, nullptr},          // vibrant
};

static_assert(std::size(Looks) == std::size_t(Learning::GenerationStyle::Vibrant) + 1);

float Posterise(float value, int levels) {
    const auto steps = static_cast<float>(levels - 1);
    return std::round(std::clamp(value, 0.0F, 1.0F) * steps) / steps;
}

}  // namespace

const Look* FindLook(std::string_view id) {
    const std::span<const Kernel::String> ids = Learning::GetStyleIds();
    const auto found = std::ranges::find(ids, Kernel::String(id));
    return found == ids.end() ? nullptr : &Looks[found - ids.begin()];
}

void ApplyLook(Picture& picture, const Look& look, std::uint64_t seed) {
    if (look.effect != nullptr) {
        look.effect(picture);
    }
    const auto width = static_cast<float>(picture.GetWidth());
    const auto height = static_cast<float>(picture.GetHeight());
    ChangeColours(picture, [&](Colour colour, int x, int y) {
        const float grey = GetLuma(colour);
        colour = Mix({grey, grey, grey}, colour, look.saturation);
        colour = colour * look.contrast + Colour{1, 1, 1} * (0.5F - 0.5F * look.contrast);
        colour = colour + Colour{0.12F, 0.02F, -0.12F} * look.warmth;
        const float u = static_cast<float>(x) / width - 0.5F;
        const float v = static_cast<float>(y) / height - 0.5F;
        const std::uint64_t place =
            static_cast<std::uint64_t>(y) << 32 | static_cast<std::uint64_t>(x);
        const float light = 1 - look.vignette * 1.6F * (u * u + v * v);
        const float grain = look.grain > 0 ? look.grain * (2 * ToUnit(seed ^ place) - 1) : 0;
        colour = colour * light + Colour{grain, grain, grain};
        if (look.levels > 0) {
            colour = {Posterise(colour.red, look.levels), Posterise(colour.green, look.levels),
                      Posterise(colour.blue, look.levels)};
        }
        return colour;
    });
}

}  // namespace Service
