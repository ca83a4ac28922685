#include "drawing/Wide.h"

#include "drawing/Noise.h"
#include "drawing/Random.h"

namespace Service {

namespace {

constexpr float Horizon = 0.56F;

void DrawSail(const Stage& stage, float x, float foot, float height, Colour sail) {
    stage.Fill(
        x - height / 2, foot - height, x + height / 2, foot, [&](Colour under, float px, float py) {
            const float share = (py - foot + height) / height;
            const float reach = px < x ? 0.3F : 0.42F;  // the foresail is narrower
            const bool isSail = share < 0.86F && std::abs(px - x) < height * reach * share &&
                                std::abs(px - x) > height * 0.012F;
            const float hull = (share - 0.88F) / 0.12F;
            const bool isHull = hull > 0 && std::abs(px - x) < height * (0.42F - 0.12F * hull);
            if (isHull) {
                return stage.palette.near * 0.6F;
            }
            return isSail ? sail * (px < x ? 0.88F : 1.0F) : under;
        });
}

void DrawPlanet(const Stage& stage, float x, float y, float radius, Colour light, Colour dark) {
    stage.FillDisc(x, y, radius, [&](Colour, float dx, float dy) {
        const float z = std::sqrt(std::max(1 - dx * dx - dy * dy, 0.0F));
        const float swirl = GetFractal(dx * 2 + z, dy * 2, stage.seed + 31, 4);
        const float bands = GetFractal(3, (dy + 0.25F * swirl) * 4.5F, stage.seed + 32, 4);
        const float day = std::clamp(0.08F - 0.62F * dx - 0.45F * dy + 0.75F * z, 0.04F, 1.2F);
        return Mix(dark, light, SmoothStep(0.3F, 0.7F, bands)) * day;
    });
}

}  // namespace

void DrawSea(const Stage& stage) {
    const Raster::PixelView& view = stage.view;
    const Colour water = Mix(stage.palette.zenith, stage.palette.near, 0.4F);
    stage.Fill(0, Horizon, stage.GetWidth(), 1, [&](Colour, float x, float y) {
        const float depth = std::max(y - Horizon, 0.0F);
        const float wave =
            GetFractal(x * 9 / (0.15F + depth * 2), std::sqrt(depth) * 42, stage.seed + 21, 3) -
            0.5F;
        const float mirrored = Horizon - depth * 1.15F + wave * (0.03F + 0.25F * depth);
        const int row =
            std::clamp(static_cast<int>(mirrored / stage.GetUnit()), 0, view.height - 1);
        const int column =
            std::clamp(static_cast<int>((x + wave * 0.05F) / stage.GetUnit()), 0, view.width - 1);
        const Colour sky = GetColour(
            GetPixel(view, column, std::min(row, static_cast<int>(Horizon / stage.GetUnit()))));
        return Mix(sky, water, 0.28F + 0.5F * depth) * (0.95F + 0.5F * wave);
    });
    Random random(stage.seed + 22);
    const int boats = 1 + random.Below(3);
    for (int i = 0; i < boats; ++i) {
        const float nearness = random.Between(0, 1);
        DrawSail(stage, stage.GetWidth() * random.Between(0.1F, 0.9F),
                 Horizon + 0.02F + 0.16F * nearness, 0.08F + 0.16F * nearness,
                 Mix(stage.palette.accent, {1, 1, 1}, i == 0 ? 0.1F : 0.7F));
    }
}

void DrawPlanets(const Stage& stage) {
    Random random(stage.seed + 30);
    const float width = stage.GetWidth();
    const float radius = random.Between(0.22F, 0.34F) * std::min(width, 1.0F);
    const float x = width * random.Between(0.35F, 0.65F);
    const float y = random.Between(0.42F, 0.6F);
    DrawPlanet(stage, x, y, radius, Mix(stage.palette.accent, {1, 1, 1}, 0.25F),
               stage.palette.accent * 0.55F);
    const auto drawRing = [&](bool isFront) {  // the front half lies over the planet
        stage.Fill(0, 0, width, 1, [&](Colour under, float px, float py) {
            const float dx = (px - x) / radius;
            const float dy = (py - y) / radius;
            const float tilted = dy - 0.3F * dx;
            const float distance = std::hypot(dx, tilted * 4.2F);
            const bool isHere = (tilted > 0) == isFront && (isFront || dx * dx + dy * dy > 1);
            const float band =
                SmoothStep(1.35F, 1.42F, distance) * (1 - SmoothStep(2, 2.08F, distance));
            const float grooves = 0.45F + 0.55F * GetNoise(distance * 16, 1, stage.seed + 33);
            return isHere ? Mix(under, stage.palette.sun, 0.75F * band * grooves) : under;
        });
    };
    drawRing(false);
    drawRing(true);
    DrawPlanet(stage, width * random.Between(0.08F, 0.25F), random.Between(0.15F, 0.3F),
               radius * 0.25F, stage.palette.sun, stage.palette.distant);
}

void DrawFlow(const Stage& stage) {
    const Palette& palette = stage.palette;
    stage.Fill(0, 0, stage.GetWidth(), 1, [&](Colour, float x, float y) {
        const float u = GetFractal(x * 1.8F, y * 1.8F, stage.seed + 41, 3);
        const float v = GetFractal(x * 1.8F + 5, y * 1.8F + 9, stage.seed + 42, 3);
        const float flow = GetFractal(x * 1.5F + 3.5F * u, y * 1.5F + 3.5F * v, stage.seed + 43, 4);
        const Colour ground = Mix(palette.zenith, palette.horizon, SmoothStep(0.25F, 0.6F, flow));
        const Colour veil =
            Mix(ground, palette.accent, SmoothStep(0.5F, 0.78F, u + 0.3F * (flow - 0.5F)));
        const float line = std::abs(std::sin(flow * 34));
        return Mix(veil, palette.sun, 0.35F * SmoothStep(0.9F, 1, line)) * (0.85F + 0.3F * v);
    });
}

}  // namespace Service
