#include "drawing/Palette.h"

#include "drawing/Random.h"

#include <array>

namespace Service {

namespace {

struct NamedPalette {
    const char* words;
    Palette palette;
};

constexpr Palette MakePalette(std::array<unsigned, 6> codes, bool isNight = false) {
    return {FromHex(codes[0]),
            FromHex(codes[1]),
            FromHex(codes[2]),
            FromHex(codes[3]),
            FromHex(codes[4]),
            FromHex(codes[5]),
            isNight};
}

constexpr NamedPalette Palettes[] = {
    {"sunset sunrise evening dusk dawn warm romantic",
     MakePalette({0x3B3A78, 0xF7B267, 0xFFF1C9, 0xA85C7A, 0x2C1E3B, 0xF25C54})},
    {"night dark midnight moon star space galaxy nebula",
     MakePalette({0x050A24, 0x27406E, 0xF4F1DE, 0x1E3256, 0x070B18, 0xFFC857}, true)},
    {"winter snow snowy ice icy cold frost arctic christmas",
     MakePalette({0x6FA8DC, 0xEAF4FB, 0xFFFFFF, 0xB7CFE2, 0x4C6A85, 0xD7263D})},
    {"spring blossom pink cherry pastel dream magic",
     MakePalette({0x8EC5FC, 0xFDE2F3, 0xFFF6E9, 0xC9A7D8, 0x5B8C5A, 0xFF6FA3})},
    {"summer day bright clear noon blue",
     MakePalette({0x1E7FD6, 0xBFE4FA, 0xFFFDE8, 0x7FA6BF, 0x2F6B3A, 0xFFB400})},
    {"desert sand dune hot canyon africa",
     MakePalette({0x4A90C2, 0xFBE3B5, 0xFFF3C4, 0xD9A066, 0x8A4B2A, 0xC8553D})},
    {"storm stormy rain rainy grey gloomy fog foggy mist cloudy",
     MakePalette({0x4B5563, 0xB8C0C8, 0xE8ECEF, 0x7D8993, 0x2B3138, 0xE0A458})},
    {"autumn fall gold golden october harvest",
     MakePalette({0x5E8FB8, 0xFCE9C6, 0xFFF4D6, 0xC58B5A, 0x6B3E1E, 0xE36414})},
};

constexpr struct {
    const char* words;
    unsigned code;
} NamedColours[] = {
    {"red crimson scarlet", 0xD62828},
    {"orange", 0xF77F00},
    {"yellow", 0xFFD166},
    {"gold golden", 0xE0AA3E},
    {"green", 0x2A9D4B},
    {"turquoise teal cyan", 0x17A2A2},
    {"blue", 0x1D6FD1},
    {"purple violet", 0x7B2CBF},
    {"pink rose", 0xFF6FA3},
    {"brown wood wooden", 0x7F5539},
    {"white", 0xF4F4F0},
    {"black", 0x1C1C22},
    {"grey silver", 0x9AA0A6},
};

/// The mean colour between two heights, 0..1.
Colour TakeBand(const Picture& picture, double top, double bottom) {
    const Raster::ConstPixelView view = picture.GetHostView();
    const int first = static_cast<int>(top * view.height);
    const int last = std::clamp(static_cast<int>(bottom * view.height), first + 1, view.height);
    const int step = std::max(view.width / 64, 1);
    Colour sum;
    float count = 0;
    for (int y = first; y < last; ++y) {
        for (int x = 0; x < view.width; x += step) {
            sum = sum + GetColour(GetPixel(view, x, y));
            ++count;
        }
    }
    return sum * (1 / count);
}

}  // namespace

Palette ChoosePalette(const PromptWords& words, std::uint64_t seed) {
    for (const auto& [names, palette] : Palettes) {
        if (words.HasAny(names)) {
            return palette;
        }
    }
    return Palettes[Random(seed).Below(static_cast<int>(std::size(Palettes)))].palette;
}

Palette TakePalette(const Picture& picture) {
    const Colour zenith = TakeBand(picture, 0, 0.25);
    const Colour horizon = TakeBand(picture, 0.25, 0.5);
    const Colour distant = TakeBand(picture, 0.5, 0.75);
    const Colour near = TakeBand(picture, 0.75, 1);
    constexpr float NightLuma = 0.2F;
    return {zenith,
            horizon,
            Mix(horizon, {1, 1, 1}, 0.7F),
            distant,
            near * 0.7F,
            Mix(distant, Colour{1, 1, 1} + near * -1.0F, 0.7F),
            GetLuma(zenith) < NightLuma};
}

Colour FindNamedColour(const PromptWords& words, Colour other) {
    for (const auto& [names, code] : NamedColours) {
        if (words.HasAny(names)) {
            return FromHex(code);
        }
    }
    return other;
}

}  // namespace Service
