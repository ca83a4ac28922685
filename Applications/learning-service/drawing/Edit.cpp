#include "drawing/Edit.h"

#include "drawing/Effects.h"
#include "drawing/Palette.h"
#include "drawing/PromptWords.h"
#include "drawing/Random.h"
#include "drawing/Sky.h"

#include <numbers>

namespace Service {

namespace {

constexpr Colour PureWhite{1, 1, 1};

/// Keeps a share of the colours beside `tint` times the lightness.
template <int Percent>
Colour Tint(Colour colour, Colour tint) {
    return Mix(colour, tint * (GetLuma(colour) * 1.15F), Percent / 100.0F);
}

void MakeGrey(Picture& picture) {
    ChangeColours(picture, [](Colour colour, int, int) { return PureWhite * GetLuma(colour); });
}

void MakeSepia(Picture& picture) {
    ChangeColours(picture, [](Colour colour, int, int) {
        return Tint<90>(colour, {1.08F, 0.88F, 0.64F});
    });
}

void Invert(Picture& picture) {
    ChangeColours(picture, [](Colour colour, int, int) { return PureWhite + colour * -1.0F; });
}

void MakeNight(Picture& picture) {
    const PicturePointer before = picture.Clone();
    Stage stage{picture.GetHostView(), ChoosePalette(PromptWords("night"), 0), 5};
    const Raster::ConstPixelView view = std::as_const(*before).GetHostView();
    DrawSky(stage, {true, false, false});
    ChangeColours(picture, [&](Colour sky, int x, int y) {
        const Colour colour = GetColour(GetPixel(view, x, y));
        const Colour dark = Tint<60>(colour, {0.35F, 0.5F, 1}) * 0.45F;
        const float height = static_cast<float>(y) / static_cast<float>(view.height);
        return Mix(dark, sky, 0.8F * SmoothStep(0.5F, 0.8F, GetLuma(colour)) * (1 - height));
    });
}

void Brighten(Picture& picture) {
    ChangeColours(picture,
                  [](Colour colour, int, int) { return Mix(colour, PureWhite, 0.12F) * 1.2F; });
}

void Darken(Picture& picture) {
    ChangeColours(picture, [](Colour colour, int, int) { return colour * 0.6F; });
}

void Warm(Picture& picture) {
    const auto height = static_cast<float>(picture.GetHeight());
    ChangeColours(picture, [height](Colour colour, int, int y) {
        const float low = static_cast<float>(y) / height;
        const Colour light = Mix(FromHex(0xF25C54), FromHex(0xFFD08A), low);
        return Mix(Tint<35>(colour, {1.2F, 0.9F, 0.6F}), light, 0.22F);
    });
}

/// Flakes, the larger the nearer they are.
void LetItSnow(Picture& picture) {
    ChangeColours(picture, [](Colour colour, int, int) {
        return Mix(Tint<40>(colour, {0.9F, 1, 1.12F}), PureWhite, 0.12F);
    });
    const Stage stage{picture.GetHostView(), {}, 0};
    Random random(3);
    constexpr int Count = 700;
    for (int i = 0; i < Count; ++i) {
        const float size = random.Between(0, 1);
        const float light = random.Between(0.5F, 0.95F);
        stage.FillDisc(random.Between(0, stage.GetWidth()), random.Between(0, 1),
                       0.002F + 0.008F * size * size, [light](Colour under, float dx, float dy) {
                           return Mix(under, PureWhite, light * (1 - 0.7F * (dx * dx + dy * dy)));
                       });
    }
}

void LetItRain(Picture& picture) {
    const float unit = 1 / static_cast<float>(picture.GetHeight());
    ChangeColours(picture, [unit](Colour colour, int x, int y) {
        const float u = static_cast<float>(x) * unit + 0.22F * static_cast<float>(y) * unit;
        const auto streak = static_cast<std::uint64_t>(u * 420);
        const float phase =
            ToUnit(streak) + static_cast<float>(y) * unit * (2 + 3 * ToUnit(streak + 9));
        const bool isDrop = phase - std::floor(phase) < 0.16F && ToUnit(streak + 5) < 0.35F;
        const Colour wet = Tint<55>(colour, {0.8F, 0.9F, 1}) * 0.8F;
        return isDrop ? Mix(wet, PureWhite, 0.4F) : wet;
    });
}

void DrawFrame(Picture& picture) {
    const int width = picture.GetWidth();
    const int height = picture.GetHeight();
    const int bar = std::max(std::min(width, height) / 14, 1);
    ChangeColours(picture, [&](Colour colour, int x, int y) {
        const int inside = std::min(std::min(x, width - 1 - x), std::min(y, height - 1 - y));
        if (inside >= bar) {
            return colour;
        }
        const float share = static_cast<float>(inside) / static_cast<float>(bar);
        return FromHex(0x8A5A2B) * (0.75F + 0.5F * std::sin(share * std::numbers::pi_v<float>));
    });
}

void Mirror(Picture& picture) {
    const PicturePointer before = picture.Clone();
    const Raster::ConstPixelView view = std::as_const(*before).GetHostView();
    ChangeColours(picture, [&](Colour, int x, int y) {
        return GetColour(GetPixel(view, view.width - 1 - x, y));
    });
}

/// Turns hues about the grey axis (the hue rotation of SVG 1.1, 15.10, with BT.601's weights).
void TurnHues(Picture& picture, float angle) {
    const float cosine = std::cos(angle);
    const float sine = std::sin(angle);
    ChangeColours(picture, [=](Colour colour, int, int) {
        const float grey = GetLuma(colour);
        const float u = colour.blue - grey;
        const float v = colour.red - grey;
        const float turnedU = u * cosine - v * sine;
        const float turnedV = u * sine + v * cosine;
        return Colour{grey + turnedV, grey - (0.299F * turnedV + 0.114F * turnedU) / 0.587F,
                      grey + turnedU};
    });
}

struct EditRule {
    const char* words;
    void (*edit)(Picture& picture);
};

// In the order in which they are done.
constexpr EditRule EditRules[] = {
    {"mirror flip reverse", Mirror},
    {"blur blurry soft focus dream", DrawBlur},
    {"bokeh", DrawBokeh},
    {"grey greyscale monochrome desaturate", MakeGrey},
    {"sepia old vintage antique retro", MakeSepia},
    {"negative invert", Invert},
    {"night moon midnight", MakeNight},
    {"sunset sunrise warm evening autumn", Warm},
    {"snow snowy winter ice christmas", LetItSnow},
    {"rain rainy storm wet", LetItRain},
    {"bright brighter light lighter sunny", Brighten},
    {"dark darker gloomy", Darken},
    {"sharp sharper crisp detail", DrawRelief},
    {"sketch pencil drawing draw", DrawSketch},
    {"comic cartoon outline illustration", DrawOutlines},
    {"pop halftone dots", DrawHalftone},
    {"swirl melt wave underwater", DrawSwirl},
    {"glow glowing magic shine", DrawGlow},
    {"cinema cinematic movie film", DrawBars},
    {"frame border", DrawFrame},
};

}  // namespace

void EditPicture(Picture& picture, std::string_view prompt) {
    const PromptWords words(prompt);
    bool isEdited = false;
    if (words.HasAny("black") && words.HasAny("white")) {
        MakeGrey(picture);
        isEdited = true;
    } else if (const Colour none{-1, 0, 0}, tint = FindNamedColour(words, none); !(tint == none)) {
        ChangeColours(picture,
                      [tint](Colour colour, int, int) { return Tint<65>(colour, tint * 1.5F); });
        isEdited = true;
    }
    for (const EditRule& rule : EditRules) {
        if (words.HasAny(rule.words)) {
            rule.edit(picture);
            isEdited = true;
        }
    }
    if (!isEdited) {
        constexpr float Pi = std::numbers::pi_v<float>;
        TurnHues(picture, Random(HashText(prompt)).Between(Pi / 4, 7 * Pi / 4));
    }
}

}  // namespace Service
