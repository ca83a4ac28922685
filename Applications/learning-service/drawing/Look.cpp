#include "drawing/Look.h"

#include "drawing/Effects.h"
#include "drawing/Random.h"

#include <algorithm>
#include <iterator>

namespace Service {

namespace {

// In the order of the clients' table, which has the names; each pairs with its identifier.
constexpr Look Looks[] = {
    {"b425dac4-e142-40e5-b527-5b9e9de06518", 1.15F, 1.1F, 0, 0.15F, 0, 0, DrawRelief},  // 3D render
    {"1c3b9e84-feee-408b-a9b4-6948aa135f0e", 1.1F, 1.05F, 0.1F, 0.3F, 0, 0, DrawBokeh},  // bokeh
    {"cd12d56d-9193-4f7a-9645-abff2c87c6ca", 0.9F, 1.2F, 0.15F, 0.5F, 0.02F, 0,
     DrawBars},  // cinematic
    {"04f55580-2e53-4087-8521-0dda316fbcf4", 0.8F, 1.3F, -0.25F, 0.6F, 0.02F, 0,
     DrawBars},  // cinematic concept
    {"19f8666b-1bbc-4022-bde6-922732002e57", 1.5F, 1.1F, 0.3F, 0, 0, 0, DrawSwirl},      // creative
    {"b6a858d9-b14c-422c-a9f7-4e64a5980d49", 1.35F, 1.35F, 0, 0.2F, 0, 0, nullptr},      // dynamic
    {"5ee03856-4719-433b-bfb9-0d7b24e1e238", 0.85F, 1.15F, 0.2F, 0.1F, 0, 0, DrawGlow},  // fashion
    {"35baad12-eede-4655-ad20-fd97bf674beb", 2, 1.4F, 0.1F, 0, 0, 4, DrawHalftone},      // pop art
    {"1d8c85e6-3905-476d-a310-4caef229b059", 1.25F, 1.1F, 0, 0, 0, 6, DrawFlat},         // vector
    {"a3c8aa37-c3bd-4943-a8de-327a312c929c", 1.4F, 0.85F, 0, 0.1F, 0, 0, DrawRelief},    // HDR
    {"d5725e09-3c66-4438-98f8-0e31de922045", 1.15F, 1.1F, 0.1F, 0, 0, 8,
     DrawOutlines},  // illustration
    {"4db62735-028d-411f-b412-57dcd2638ac1", 1.2F, 1.15F, 0, 0.35F, 0, 0, DrawBokeh},  // macro
    {"c4c21201-1400-4ea1-955d-5a03d9714998", 0.75F, 0.9F, 0.05F, 0, 0, 10, DrawFlat},  // minimalist
    {"ac6b50fa-936c-4122-83b9-d5745deba58c", 0.6F, 1.3F, -0.3F, 0.8F, 0.02F, 0, nullptr},  // moody
    {"334f99b0-a64c-4420-b181-90fc50915429", 0.95F, 1.05F, 0.2F, 0.4F, 0, 0, DrawGlow},  // portrait
    {"f92453a6-bff0-4b0e-8353-354b4c5c3d5f", 0, 1.35F, 0, 0.35F, 0.03F, 0,
     nullptr},  // black and white
    {"308eb2b1-83ff-4160-b74f-37f05058b1ef", 1.1F, 1.1F, 0, 0, 0, 0,
     nullptr},  // professional colour
    {"5e4be23c-95f5-4fa4-ac53-e77b4bc9bc1a", 0.75F, 0.9F, 0.35F, 0.3F, 0.06F, 0,
     nullptr},  // professional film
    {"5fe70829-b3fe-4891-a95c-2abf31cb8483", 0.7F, 1.2F, -0.1F, 0.25F, 0, 0,
     DrawGlow},  // fashion portrait
    {"a477499c-e80e-4ad5-bff3-2e0f55f59f4d", 1.2F, 1.25F, -0.1F, 0.1F, 0, 0,
     DrawGlow},                                                                     // ray traced
    {"32a9dab4-e11e-4e6b-83e3-5b7f8ce1843b", 0, 1.2F, 0, 0, 0.02F, 0, DrawSketch},  // sketch
    {"9df1bda4-0c1e-4d18-81db-f8633cef9147", 1.3F, 1.1F, 0, 0, 0.02F, 0,
     DrawColourSketch},                        // colour sketch
    {"5453a998-1cc8-4bc2-9638-dc953f2a62aa"},  // stock photography
    {"543c5d56-1571-4561-a9ec-ce1ba5b290c7", 1.7F, 1.15F, 0.05F, 0, 0, 0, nullptr},  // vibrant
};

float Posterise(float value, int levels) {
    const auto steps = static_cast<float>(levels - 1);
    return std::round(std::clamp(value, 0.0F, 1.0F) * steps) / steps;
}

}  // namespace

const Look* FindLook(std::string_view id) {
    const Look* const look = std::ranges::find(Looks, id, &Look::id);
    return look == std::end(Looks) ? nullptr : look;
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
