#include "drawing/Filling.h"

#include "Raster/Compositing.h"

#include "drawing/Noise.h"
#include "drawing/Palette.h"
#include "drawing/PromptWords.h"
#include "drawing/Random.h"

namespace Service {

namespace {

/// What a thing is made of.
struct Material {
    Colour light;
    Colour dark;
    std::uint64_t seed;
};

// Coordinates are -1..1 over the thing.
using Texture = Colour (*)(const Material& material, float x, float y);

Colour GetMarble(const Material& material, float x, float y) {
    const float veins = GetFractal(x * 2 + 9, y * 2 + 9, material.seed, 5);
    return Mix(material.dark, material.light, 0.5F + 0.5F * std::sin(6 * (x + y) + 14 * veins));
}

Colour GetStripes(const Material& material, float x, float y) {
    const float bend = GetNoise(x * 2 + 9, y * 2 + 9, material.seed);
    return Mix(material.dark, material.light,
               SmoothStep(-0.15F, 0.15F, std::sin(16 * (x * 0.6F + y + 0.4F * bend))));
}

Colour GetDots(const Material& material, float x, float y) {
    constexpr float Cells = 4.5F;
    const float u = x * Cells + (static_cast<int>(std::floor(y * Cells)) % 2 == 0 ? 0.5F : 0.0F);
    const float distance =
        std::hypot(u - std::floor(u) - 0.5F, y * Cells - std::floor(y * Cells) - 0.5F);
    return Mix(material.light, material.dark, SmoothStep(0.28F, 0.34F, distance));
}

Colour GetFur(const Material& material, float x, float y) {
    const float hairs = GetFractal(x * 30 + 4 * y, y * 5 + 40, material.seed, 3);
    const float patches = GetFractal(x * 1.6F + 9, y * 1.6F + 9, material.seed + 1, 3);
    return Mix(material.dark, material.light,
               0.55F * hairs + SmoothStep(0.35F, 0.65F, patches) * 0.45F);
}

/// How things look that prompts name. A colour that is named counts more than that of the thing.
struct Kind {
    const char* words;
    Texture texture;
    unsigned code;  // of its colour; 0 for any
};

constexpr Kind Kinds[] = {
    {"water lake sea river glass ice", GetMarble, 0x3B8FC2},
    {"stone marble rock statue vase", GetMarble, 0xB8B2A7},
    {"cloud sky snow fog", GetMarble, 0xE9EEF3},
    {"fire flame lava", GetMarble, 0xE2571E},
    {"tiger", GetStripes, 0xE8871E},
    {"zebra", GetStripes, 0xF4F4F0},
    {"wood", GetStripes, 0x8A5A2B},
    {"stripe striped balloon fish", GetStripes, 0},
    {"mushroom ladybird strawberry", GetDots, 0xC8102E},
    {"dot dotted ball toy", GetDots, 0},
    {"dog bear horse monkey", GetFur, 0x8B5E3C},
    {"cat lion fox", GetFur, 0xC9853F},
    {"grass bush tree leaf", GetFur, 0x3E7B33},
    {"fur animal wool sheep", GetFur, 0xCFC3AE},
    {"flower tulip rose", GetFur, 0xD6336C},
};

/// The kind that the prompt names, else one of the textures.
Kind ChooseKind(const PromptWords& words, Random& random) {
    constexpr Texture Textures[] = {GetMarble, GetStripes, GetDots, GetFur};
    const Texture chosen = Textures[random.Below(static_cast<int>(std::size(Textures)))];
    for (const Kind& kind : Kinds) {
        if (words.HasAny(kind.words)) {
            return kind;
        }
    }
    return {"", chosen, 0};
}

/// The rectangle in which the mask is more white than black; all of it if that is nowhere.
Raster::Rect FindThing(const Picture& mask) {
    const Raster::ConstPixelView view = mask.GetHostView();
    Raster::Rect box{view.width, view.height, 0, 0};
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            if (GetPixel(view, x, y)[1] > 127) {
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
                       std::max(box.bottom, y + 1)};
            }
        }
    }
    return box.left < box.right ? box : view.GetBounds();
}

/// The mask, blurred: how deep inside a pixel lies.
Kernel::Counted<Raster::DynamicBitmap> FindDepth(const Picture& mask, const Raster::Rect& thing) {
    const int radius =
        std::max(std::min(thing.right - thing.left, thing.bottom - thing.top) / 12, 2);
    return Raster::BoxFilter(*Raster::BoxFilter(mask, radius), radius);
}

}  // namespace

void FillObject(Picture& picture, const Picture& mask, const Filling& filling) {
    const PromptWords words(filling.prompt);
    Random random(HashText(filling.prompt) + filling.variant * 104'729);
    const Palette palette = ChoosePalette(words, static_cast<std::uint64_t>(random.Below(1 << 20)));
    const Colour own = Mix(palette.accent, palette.distant, random.Between(0, 0.5F));
    const Kind kind = ChooseKind(words, random);
    const Colour light = FindNamedColour(words, kind.code != 0 ? FromHex(kind.code) : own);
    const Colour contrast = random.Below(2) == 0 ? Colour{1, 1, 1} : light * 0.25F;
    const Material material{light, Mix(light, contrast, 0.7F),
                            static_cast<std::uint64_t>(random.Below(1 << 20))};

    const Raster::Rect thing = FindThing(mask);
    const auto depth = FindDepth(mask, thing);
    const Raster::ConstPixelView depths = std::as_const(*depth).GetHostView();
    const Raster::ConstPixelView masks = mask.GetHostView();
    const float halfSize =
        0.5F * static_cast<float>(std::max(thing.right - thing.left, thing.bottom - thing.top));
    ChangeColours(picture, [&](Colour under, int x, int y) {
        const float inside = GetColour(GetPixel(depths, x, y)).green;
        const float covered = GetColour(GetPixel(masks, x, y)).green;
        constexpr float JpegNoise = 0.06F;  // of what was black before it was compressed
        const float cover = filling.expands ? SmoothStep(0.02F, 0.4F, std::max(inside, covered))
                                            : SmoothStep(JpegNoise, 0.9F, covered);
        if (cover <= 0) {
            return under;
        }
        const float u =
            (static_cast<float>(x) - 0.5F * static_cast<float>(thing.left + thing.right)) /
            halfSize;
        const float v =
            (static_cast<float>(y) - 0.5F * static_cast<float>(thing.top + thing.bottom)) /
            halfSize;
        const float round = SmoothStep(0.3F, 1, inside);  // darker at its edges
        const float shine = std::exp(-9 * ((u + 0.3F) * (u + 0.3F) + (v + 0.4F) * (v + 0.4F)));
        const Colour lit = kind.texture(material, u, v) * (0.6F + 0.65F * round - 0.2F * v) +
                           Colour{1, 1, 1} * (0.35F * shine);
        return Mix(under, lit, cover * filling.strength);
    });
}

}  // namespace Service
