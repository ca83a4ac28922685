#include "drawing/Sky.h"

#include "drawing/Noise.h"
#include "drawing/Random.h"

namespace Service {

namespace {

constexpr Colour White{1, 1, 1};

void DrawStars(const Stage& stage) {
    Random random(stage.seed + 11);
    constexpr int Count = 400;
    for (int i = 0; i < Count; ++i) {
        const float x = random.Between(0, stage.GetWidth());
        const float y = random.Between(0, 0.8F);
        const float size = random.Between(0, 1);
        const float radius = 0.0009F + 0.0022F * size * size * size;
        const float light = random.Between(0.4F, 1);
        stage.FillDisc(x, y, radius,
                       [&](Colour under, float, float) { return Mix(under, White, light); });
    }
}

void DrawSun(const Stage& stage) {
    Random random(stage.seed + 12);
    const float x = stage.GetWidth() * random.Between(0.2F, 0.8F);
    const float y =
        stage.palette.isNight ? random.Between(0.12F, 0.25F) : random.Between(0.2F, 0.42F);
    const float radius = random.Between(0.045F, 0.075F);
    const Colour sun = stage.palette.sun;
    stage.Fill(0, 0, stage.GetWidth(), 1, [&](Colour under, float px, float py) {
        const float distance = std::hypot(px - x, py - y);
        return Mix(under, sun, 0.55F * std::exp(-distance * 5.5F));
    });
    stage.FillDisc(x, y, radius, [&](Colour, float dx, float dy) {
        const float crater =
            stage.palette.isNight ? GetFractal(dx * 2.5F + 7, dy * 2.5F, stage.seed, 3) : 1;
        return sun * (0.75F + 0.25F * SmoothStep(0.3F, 0.6F, crater));
    });
}

void DrawClouds(const Stage& stage) {
    const Colour lit =
        Mix(stage.palette.sun, stage.palette.horizon, stage.palette.isNight ? 0.8F : 0.2F);
    const Colour shadow = Mix(stage.palette.zenith, stage.palette.horizon, 0.45F);
    const float amount = Random(stage.seed + 13).Between(0.44F, 0.56F);
    stage.Fill(0, 0, stage.GetWidth(), 0.75F, [&](Colour under, float x, float y) {
        const float stretch = 1.5F + 4 * y;  // flatter towards the horizon
        const float density = GetFractal(x * 2.4F, y * 2.4F * stretch, stage.seed + 14, 5);
        const float cover =
            SmoothStep(amount, amount + 0.22F, density) * (1 - SmoothStep(0.35F, 0.72F, y));
        if (cover <= 0) {
            return under;
        }
        const float above =
            GetFractal(x * 2.4F + 0.05F, (y - 0.03F) * 2.4F * stretch, stage.seed + 14, 3);
        return Mix(under, Mix(lit, shadow, SmoothStep(0.35F, 0.7F, above)), cover * 0.85F);
    });
}

void DrawNebula(const Stage& stage) {
    stage.Fill(0, 0, stage.GetWidth(), 1, [&](Colour under, float x, float y) {
        const float warp = GetFractal(x * 2, y * 2, stage.seed + 15, 3);
        const float gas = GetFractal(x * 2 + 2 * warp, y * 3 - warp, stage.seed + 16, 5);
        const Colour light = Mix(stage.palette.distant * 1.6F, stage.palette.accent, warp);
        return under + light * (0.9F * SmoothStep(0.45F, 0.85F, gas));
    });
}

}  // namespace

void DrawSky(const Stage& stage, const SkyContent& content) {
    stage.Fill(0, 0, stage.GetWidth(), 1, [&](Colour, float, float y) {
        return Mix(stage.palette.zenith, stage.palette.horizon, SmoothStep(0, 0.62F, y));
    });
    if (content.hasNebula) {
        DrawNebula(stage);
    }
    if (stage.palette.isNight) {
        DrawStars(stage);
    }
    if (content.hasSun) {
        DrawSun(stage);
    }
    if (content.hasClouds) {
        DrawClouds(stage);
    }
}

}  // namespace Service
