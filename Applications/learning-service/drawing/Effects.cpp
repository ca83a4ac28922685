#include "drawing/Effects.h"

#include "Raster/Compositing.h"

#include "drawing/Noise.h"
#include "drawing/Random.h"

#include <vector>

namespace Service {

namespace {

/// A share of the picture's smaller side, one pixel at least.
int GetShare(const Picture& picture, float share) {
    const int side = std::min(picture.GetWidth(), picture.GetHeight());
    return std::max(1, static_cast<int>(static_cast<float>(side) * share));
}

Kernel::Counted<Raster::DynamicBitmap> Blur(const Picture& picture, float share) {
    return Raster::BoxFilter(*Raster::BoxFilter(picture, GetShare(picture, share)),
                             GetShare(picture, share));
}

/// Replaces each colour by `change(colour, blurred)`.
template <class Change>
void CombineWithBlurred(Picture& picture, float share, Change change) {
    const auto blurred = Blur(picture, share);
    const Raster::ConstPixelView view = std::as_const(*blurred).GetHostView();
    ChangeColours(picture, [&](Colour colour, int x, int y) {
        return change(colour, GetColour(GetPixel(view, x, y)));
    });
}

/// How strongly lightness changes at each pixel, 0 for not at all.
std::vector<float> FindEdges(const Picture& picture) {
    const Raster::ConstPixelView view = picture.GetHostView();
    std::vector<float> edges;
    edges.reserve(static_cast<std::size_t>(view.width) * static_cast<std::size_t>(view.height));
    const auto get = [&](int x, int y) { return GetLuma(GetColour(GetPixel(view, x, y))); };
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            const int right = std::min(x + 1, view.width - 1);
            const int below = std::min(y + 1, view.height - 1);
            edges.push_back(std::abs(get(x, y) - get(right, below)) +
                            std::abs(get(right, y) - get(x, below)));
        }
    }
    return edges;
}

template <class Change>
void CombineWithEdges(Picture& picture, Change change) {
    const std::vector<float> edges = FindEdges(picture);
    const auto width = static_cast<std::size_t>(picture.GetWidth());
    ChangeColours(picture, [&](Colour colour, int x, int y) {
        return change(
            colour, edges[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)], x, y);
    });
}

/// Hatching for what is dark, 0..1.
float GetPencil(Colour colour, float edge, int x, int y) {
    const float dark = 1 - GetLuma(colour);
    const float paper = GetNoise(static_cast<float>(x) * 0.7F, static_cast<float>(y) * 0.7F, 5);
    const float strokes = 0.5F + 0.5F * std::sin(static_cast<float>(x + y) * 0.9F + 3 * paper);
    return std::clamp(edge * 3.5F + dark * dark * (0.35F + 0.5F * strokes) + 0.08F * paper, 0.0F,
                      1.0F);
}

}  // namespace

void DrawRelief(Picture& picture) {
    CombineWithBlurred(picture, 0.02F, [](Colour colour, Colour blurred) {
        return colour * 1.8F + blurred * -0.8F;
    });
}

void DrawGlow(Picture& picture) {
    CombineWithBlurred(picture, 0.02F, [](Colour colour, Colour blurred) {
        const float light = GetLuma(blurred);
        return colour * 0.85F + blurred * (0.45F * light);
    });
}

void DrawBlur(Picture& picture) {
    CombineWithBlurred(picture, 0.015F, [](Colour, Colour blurred) { return blurred; });
}

void DrawBokeh(Picture& picture) {
    DrawBlur(picture);
    const Raster::PixelView view = picture.GetHostView();
    Random random(static_cast<std::uint64_t>(view.width));
    constexpr int Count = 40;
    for (int i = 0; i < Count; ++i) {
        const int radius = GetShare(picture, random.Between(0.015F, 0.05F));
        const int cx = random.Below(view.width);
        const int cy = random.Below(view.height);
        const Colour light = Mix(GetColour(GetPixel(view, cx, cy)), {1, 1, 0.9F}, 0.6F);
        for (int y = std::max(cy - radius, 0); y < std::min(cy + radius, view.height); ++y) {
            for (int x = std::max(cx - radius, 0); x < std::min(cx + radius, view.width); ++x) {
                const float distance =
                    std::hypot(static_cast<float>(x - cx), static_cast<float>(y - cy)) /
                    static_cast<float>(radius);
                if (distance < 1) {
                    std::uint8_t* const pixel = GetPixel(view, x, y);
                    SetColour(pixel, Mix(GetColour(pixel), light,
                                         0.18F + 0.2F * SmoothStep(0.8F, 0.95F, distance)));
                }
            }
        }
    }
}

void DrawBars(Picture& picture) {
    const int bar = GetShare(picture, 0.09F);
    const int height = picture.GetHeight();
    ChangeColours(picture, [&](Colour colour, int, int y) {
        return y < bar || y >= height - bar ? Colour{} : colour;
    });
}

void DrawSwirl(Picture& picture) {
    const PicturePointer before = picture.Clone();
    const Raster::ConstPixelView view = std::as_const(*before).GetHostView();
    const float unit = 1 / static_cast<float>(view.height);
    ChangeColours(picture, [&](Colour, int x, int y) {
        const float u = static_cast<float>(x) * unit;
        const float v = static_cast<float>(y) * unit;
        const float bend = 0.16F / unit;
        const int fromX = x + static_cast<int>(bend * (GetFractal(u * 3, v * 3, 1, 3) - 0.5F));
        const int fromY = y + static_cast<int>(bend * (GetFractal(u * 3, v * 3, 2, 3) - 0.5F));
        return GetColour(GetPixel(view, std::clamp(fromX, 0, view.width - 1),
                                  std::clamp(fromY, 0, view.height - 1)));
    });
}

void DrawHalftone(Picture& picture) {
    const int cell = GetShare(picture, 0.012F) + 3;
    ChangeColours(picture, [&](Colour colour, int x, int y) {
        const float dx = static_cast<float>(x % cell) / static_cast<float>(cell) - 0.5F;
        const float dy = static_cast<float>(y % cell) / static_cast<float>(cell) - 0.5F;
        const float radius = 0.72F * (1 - GetLuma(colour));
        return std::hypot(dx, dy) < radius ? colour : Mix(colour, {1, 1, 1}, 0.55F);
    });
}

void DrawFlat(Picture& picture) {
    CombineWithBlurred(picture, 0.006F, [](Colour, Colour blurred) { return blurred; });
}

void DrawOutlines(Picture& picture) {
    CombineWithEdges(picture, [](Colour colour, float edge, int, int) {
        constexpr float Levels = 5;
        const auto round = [](float value) { return std::round(value * Levels) / Levels; };
        const Colour flat{round(colour.red), round(colour.green), round(colour.blue)};
        return Mix(flat, {0.08F, 0.06F, 0.1F}, SmoothStep(0.08F, 0.25F, edge));
    });
}

void DrawSketch(Picture& picture) {
    CombineWithEdges(picture, [](Colour colour, float edge, int x, int y) {
        return Mix({0.97F, 0.96F, 0.93F}, {0.15F, 0.15F, 0.18F}, GetPencil(colour, edge, x, y));
    });
}

void DrawColourSketch(Picture& picture) {
    CombineWithEdges(picture, [](Colour colour, float edge, int x, int y) {
        return Mix({0.97F, 0.96F, 0.93F}, colour * 0.75F,
                   std::min(1.0F, 0.25F + GetPencil(colour, edge, x, y)));
    });
}

}  // namespace Service
