#include "drawing/Land.h"

#include "drawing/Noise.h"
#include "drawing/Random.h"

#include <vector>

namespace Service {

namespace {

/// One of several rows of hills, from the most distant to the nearest.
struct Row {
    int index;
    int count;

    /// 0 for the most distant, 1 for the nearest.
    float GetNearness() const noexcept {
        return static_cast<float>(index) / static_cast<float>(count - 1);
    }
};

/// Fills what lies under `getTop(x)` by `shade(x, y, depth)`; `depth` is below the top.
template <class GetTop, class Shade>
void FillUnder(const Stage& stage, GetTop getTop, Shade shade) {
    const float unit = stage.GetUnit();
    std::vector<float> tops;
    tops.reserve(static_cast<std::size_t>(stage.view.width));
    for (int column = 0; column < stage.view.width; ++column) {
        tops.push_back(getTop((static_cast<float>(column) + 0.5F) * unit));
    }
    const float highest = *std::ranges::min_element(tops);
    stage.Fill(0, highest - unit, stage.GetWidth(), 1, [&](Colour under, float x, float y) {
        const float depth = y - tops[static_cast<std::size_t>(x / unit)];
        const float cover = std::clamp(depth / unit + 0.5F, 0.0F, 1.0F);
        return cover <= 0 ? under : Mix(under, shade(x, y, std::max(depth, 0.0F)), cover);
    });
}

/// The colour of a row: the more distant, the more of the sky is in it.
Colour GetHaze(const Stage& stage, const Row& row) {
    return Mix(Mix(stage.palette.horizon, stage.palette.distant, 0.6F), stage.palette.near,
               row.GetNearness());
}

template <class DrawRow>
void DrawRows(const Stage& stage, int count, DrawRow drawRow) {
    for (int i = 0; i < count; ++i) {
        Stage own = stage;
        own.seed = Scramble(stage.seed + 100 + static_cast<std::uint64_t>(i));
        drawRow(own, Row{i, count});
    }
}

/// A conifer whose foot is at (x, foot).
void DrawConifer(const Stage& stage, float x, float foot, float height, Colour colour) {
    const float half = height * 0.2F;
    stage.Fill(x - half, foot - height, x + half, foot, [&](Colour under, float px, float py) {
        const float share = (py - foot + height) / height;
        const float step = share * 5 - std::floor(share * 5);
        const float reach = half * (0.08F + 0.92F * share) * (0.62F + 0.38F * step);
        const float cover =
            1 - SmoothStep(reach - stage.GetUnit(), reach + stage.GetUnit(), std::abs(px - x));
        return Mix(under, colour * (px < x ? 1.12F : 0.88F), cover);
    });
}

void DrawFlower(const Stage& stage, float x, float y, float radius, Colour petals) {
    constexpr float Petals = 5;
    stage.FillDisc(x, y, radius, [&](Colour under, float dx, float dy) {
        const float distance = std::sqrt(dx * dx + dy * dy);
        if (distance < 0.3F) {
            return FromHex(0xFFD23F) * (1 - 0.4F * distance);
        }
        const float wave = 0.66F + 0.34F * std::cos(Petals * std::atan2(dy, dx) + x * 40);
        return distance < wave ? petals * (1.1F - 0.35F * distance) : under;
    });
}

void DrawTower(const Stage& stage, Random& random, float x, const Row& row) {
    const float nearness = row.GetNearness();
    const float width = random.Between(0.05F, 0.1F) * (0.6F + 0.8F * nearness);
    const float top = random.Between(0.28F, 0.62F) + 0.12F * nearness;
    const float cell = 0.012F + 0.008F * nearness;
    const Colour wall = GetHaze(stage, row) * random.Between(0.85F, 1.1F);
    const Colour light = Mix(stage.palette.accent, stage.palette.sun, 0.5F);
    const float lit = stage.palette.isNight ? 0.45F : 0.12F;
    const auto building = static_cast<std::uint64_t>((x + 1) * 1e4F) + stage.seed;
    stage.Fill(x, top, x + width, 1, [&](Colour, float px, float py) {
        const float u = (px - x) / cell;
        const float v = (py - top) / cell;
        const auto window = static_cast<std::uint64_t>(u) * 1000 + static_cast<std::uint64_t>(v);
        const float fu = u - std::floor(u);
        const float fv = v - std::floor(v);
        const bool isWindow = fu > 0.25F && fu < 0.8F && fv > 0.25F && fv < 0.75F;
        const Colour side = wall * (1.08F - 0.25F * (px - x) / width);
        if (!isWindow) {
            return side;
        }
        return ToUnit(building + window) < lit ? light
                                               : Mix(side, stage.palette.zenith, 0.35F) * 0.9F;
    });
}

}  // namespace

void DrawMountains(const Stage& stage) {
    DrawRows(stage, 4, [](const Stage& own, const Row& row) {
        const float nearness = row.GetNearness();
        const float base = 0.44F + 0.4F * nearness;
        const float rise = 0.34F - 0.2F * nearness;
        const Colour rock = GetHaze(own, row);
        const Colour snow = Mix(Colour{0.96F, 0.97F, 1}, own.palette.horizon, 0.25F);
        const auto getTop = [&](float x) {
            const float sharp =
                1 - std::abs(2 * GetFractal(x * (1.6F + nearness), 3, own.seed, 6) - 1);
            return base - rise * (2 * sharp - 1.1F);
        };
        FillUnder(own, getTop, [&](float x, float y, float depth) {
            const float grain = GetFractal(x * 9 + y * 5, y * 7 - x * 4, own.seed + 1, 4);
            const float snowline = 0.4F - 0.32F * nearness - depth * 1.6F + 0.35F * (grain - 0.5F);
            const Colour ground = rock * (0.78F + 0.44F * grain);
            return Mix(ground, snow * (0.85F + 0.25F * grain), SmoothStep(0.1F, 0.22F, snowline));
        });
    });
}

void DrawDunes(const Stage& stage) {
    DrawRows(stage, 4, [](const Stage& own, const Row& row) {
        const float nearness = row.GetNearness();
        const float base = 0.56F + 0.3F * nearness;
        const auto getTop = [&](float x) {
            return base - 0.16F * (GetNoise(x * 1.7F, 1, own.seed) - 0.5F) -
                   0.05F * GetNoise(x * 4.3F, 2, own.seed);
        };
        const Colour sand = Mix(own.palette.distant, own.palette.near, 0.25F + 0.5F * nearness);
        FillUnder(own, getTop, [&](float x, float y, float depth) {
            const float slope = getTop(x + 0.02F) - getTop(x - 0.02F);
            const float light = std::clamp(1.05F - 9 * slope * std::exp(-depth * 7), 0.62F, 1.25F);
            const float ripple =
                1 + 0.035F * std::sin((y * 260 + 20 * GetNoise(x * 6, y * 12, own.seed)));
            return sand * (light * ripple);
        });
    });
}

void DrawForest(const Stage& stage) {
    DrawRows(stage, 4, [](const Stage& own, const Row& row) {
        const float nearness = row.GetNearness();
        const Colour green = Mix(GetHaze(own, row), FromHex(0x1E4D2B), 0.35F + 0.3F * nearness);
        const auto getTop = [&](float x) {
            return 0.52F + 0.36F * nearness - 0.12F * (GetFractal(x * 1.5F, 1, own.seed, 3) - 0.5F);
        };
        FillUnder(own, getTop, [&](float x, float y, float) {
            return green * (0.8F + 0.3F * GetFractal(x * 20, y * 20, own.seed, 2));
        });
        Random random(own.seed + 2);
        const float height = 0.08F + 0.26F * nearness * nearness;
        float x = -0.05F;
        while (x < own.GetWidth() + 0.05F) {
            DrawConifer(own, x, getTop(x) + 0.03F, height * random.Between(0.7F, 1.2F),
                        green * random.Between(0.75F, 1.1F));
            x += height * random.Between(0.16F, 0.42F);
        }
    });
}

void DrawMeadow(const Stage& stage) {
    DrawRows(stage, 3, [](const Stage& own, const Row& row) {
        const float nearness = row.GetNearness();
        const Colour grass = Mix(GetHaze(own, row), FromHex(0x4E9A3B), 0.45F + 0.3F * nearness);
        FillUnder(
            own,
            [&](float x) {
                return 0.5F + 0.12F * nearness - 0.1F * GetNoise(x * 1.3F, 1, own.seed);
            },
            [&](float x, float y, float depth) {
                return grass *
                       (0.75F + 0.3F * GetFractal(x * 60, y * 14, own.seed, 2) + 0.35F * depth);
            });
    });
    Random random(stage.seed + 7);
    constexpr int Count = 260;
    for (int i = 0; i < Count; ++i) {  // from the most distant to the nearest
        const float share = static_cast<float>(i) / Count;
        const float y = 0.64F + 0.38F * share;
        const Colour other =
            random.Below(3) == 0 ? stage.palette.sun : Mix(stage.palette.accent, {1, 1, 1}, 0.35F);
        DrawFlower(stage, random.Between(0, stage.GetWidth()), y, 0.005F + 0.035F * share * share,
                   random.Below(2) == 0 ? stage.palette.accent : other);
    }
}

void DrawCity(const Stage& stage) {
    DrawRows(stage, 3, [](const Stage& own, const Row& row) {
        Random random(own.seed);
        float x = -0.05F;
        while (x < own.GetWidth()) {
            DrawTower(own, random, x, row);
            x += random.Between(0.03F, 0.11F);
        }
    });
}

}  // namespace Service
