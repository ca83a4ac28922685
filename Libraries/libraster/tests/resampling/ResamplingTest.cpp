#include "tests/formats/ForInstructionSets.h"
#include "tests/resampling/EverySampler.h"
#include "tests/resampling/Resampled.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace Raster::Testing {
namespace {

/// A map of each kind: downscaling, upscaling, mirrored and rotated; none maps the pixel grid onto
/// itself.
const Params Maps[] = {{0.37, 0, 0, 0.41, 3.3, 2.1},     {1.7, 0, 0, 2.3, -40.3, -90.7},
                       {-0.6, 0, 0, -0.7, 170.2, 190.1}, {0.9, 0, 0, -1.6, 0, 250.5},
                       {0.9, 0.8, -0.8, 0.9, 20, 100},   {0.2, 0.3, -0.3, 0.25, 20, 100}};

/// A format of the host, whose pixel size no built-in format has: red, green and blue of eight
/// bits.
const PixelFormat& GetOwnFormat() {
    static const PixelFormat own = [] {
        PixelFormat format = GetPixelFormat(Format::RGBA8);
        format.code = Format::Tensor;
        format.channelCount = 3;
        format.hasAlpha = false;
        format.read = [](const void* source, float* rgba, std::size_t count) {
            for (std::size_t i = 0; i < count * 4; ++i) {
                const auto* const pixel = static_cast<const std::uint8_t*>(source) + i / 4 * 3;
                rgba[i] = i % 4 == 3 ? 1 : static_cast<float>(pixel[i % 4]) / 255;
            }
        };
        format.write = [](const float* rgba, void* destination, std::size_t count) {
            for (std::size_t i = 0; i < count * 3; ++i) {
                static_cast<std::uint8_t*>(destination)[i] =
                    static_cast<std::uint8_t>(std::lround(rgba[i / 3 * 4 + i % 3] * 255));
            }
        };
        format.directConversions = {};
        format.blendRows = nullptr;
        return format;
    }();
    return own;
}

class Resampling : public testing::TestWithParam<Sampler> {
protected:
    ~Resampling() override { UseInstructionSets(0); }
};

TEST_P(Resampling, GivesTheSameHoweverItIsCutAndWhateverTheInstructions) {
    std::vector<Rect> cuts{{0, 0, 131, 70},
                           {131, 0, 270, 70},
                           {0, 70, 110, 77},
                           {150, 70, 270, 77},
                           {0, 77, 270, 300}};
    for (int x = 110; x < 150; ++x) {  // across an edge of tiles
        cuts.push_back({x, 70, x + 1, 77});
    }
    const std::vector<Rect> strips{{0, 0, 270, 20}, {0, 120, 270, 140}};
    for (const Format format : {Format::RGBA8, Format::RGBAF}) {
        const auto source = PaintNoise(250, 240, GetPixelFormat(format));
        for (const Params& map : Maps) {
            UseInstructionSets(0);
            const auto whole = Map(*source, map, GetParam());
            EXPECT_TRUE(Map(*source, map, GetParam(), cuts)->IsEqual(*whole)) << map.xx;
            const auto parts = Map(*source, map, GetParam(), strips);
            for (const std::int64_t target : GetInstructionSets()) {
                UseInstructionSets(target);
                EXPECT_TRUE(Map(*source, map, GetParam(), strips)->IsEqual(*parts))
                    << target << map.xx;
            }
        }
    }
}

TEST_P(Resampling, MovesWholePixelsToTheBit) {
    for (const PixelFormat* format :
         {&GetPixelFormat(Format::RGBA8), &GetPixelFormat(Format::CMYKA8),
          &GetPixelFormat(Format::RGBAF), &GetOwnFormat()}) {
        const auto source = PaintNoise(150, 140, *format);
        for (const Params& map : {Params{1, 0, 0, 1, 17, -9}, Params{-1, 0, 0, 1, 150, 0},
                                  Params{0, -1, 1, 0, 140, 0}, Params{0, 1, 1, 0, 5, 6}}) {
            const auto result = Map(*source, map, GetParam());
            for (int i = 9 * 150; i < 140 * 150; ++i) {
                const AffineTransform::Point from{i % 150 + 0.5, i / 150 + 0.5};
                ASSERT_EQ(GetColour(*result, map.Map(from)), GetColour(*source, from));
            }
        }
    }
}

TEST_P(Resampling, KeepsFlatColoursAndHidesHiddenOnes) {
    constexpr Colour Orange{1, 0.6F, 0.2F, 1};
    const auto flat =
        Paint(97, 83, GetPixelFormat(Format::RGBA16), [&](int, int) { return Orange; });
    const auto islands = Paint(97, 83, GetPixelFormat(Format::RGBA8), [&](int x, int y) {
        return (x / 5 + y / 7) % 2 == 0 ? Orange : Colour{0, 0, 1, 0};
    });
    for (const Params& map : Maps) {
        const auto even = Map(*flat, map, GetParam());
        const auto mixed = Map(*islands, map, GetParam());
        for (int i = 0; i < 270 * 300; ++i) {
            const Colour colour = GetColour(*even, {i % 270 * 1.0, i / 270 * 1.0});
            ASSERT_EQ((Colour{colour[0], colour[1], colour[2], 1}),
                      colour[3] > 0 ? Orange : (Colour{0, 0, 0, 1}));
            Colour seen = GetColour(*mixed, {i % 270 * 1.0, i / 270 * 1.0});
            if (seen[3] > 0) {
                seen[3] = 1;
                ASSERT_EQ(seen, Orange);
            }
        }
        EXPECT_FALSE(even->GetAlphaBoundingBox().IsEmpty());
    }
    const auto veil = Paint(20, 20, GetPixelFormat(Format::AlphaF), [](int, int) {
        return Colour{0, 0, 0, 0.9995F};
    });
    EXPECT_NEAR(GetColour(*Map(*veil, Params::Scale(3, 3), GetParam(), {{0, 0, 9, 9}}), {8, 8})[3],
                0.9995, 1e-6);
}

TEST_P(Resampling, FadesFinePatternsAndSurvivesHostileMaps) {
    const auto source = Paint(240, 240, GetPixelFormat(Format::Alpha8), [](int x, int y) {
        return std::array{0.0F, 0.0F, 0.0F, (x + y) % 2 == 0 ? 1.0F : 0.0F};
    });
    for (const Params& map :
         {Params{0.37, 0, 0, 0.37, 0, 0}, Params{0.26, 0.26, -0.26, 0.26, 0, 80}}) {
        const auto result = Map(*source, map, GetParam());
        for (int i = 0; i < 80 * 80 && GetParam() != Sampler::Nearest; ++i) {
            const auto at = map.Invert()->Map({i % 80 + 0.5, i / 80 + 0.5});
            if (std::min({at.x, at.y, 240 - at.x, 240 - at.y}) > 20) {
                ASSERT_NEAR(GetColour(*result, {i % 80 * 1.0, i / 80 * 1.0})[3], 0.5, 0.1);
            }
        }
    }
    for (const double huge : {1e-300, 1e-12, 1e9, 1e18, 1e150}) {  // only must not crash
        for (const Params& map :
             {Params{huge, 0, 0, huge, 0, 0}, Params{huge, 0, 0, 1, -huge, 0},
              Params{1, huge, 0, 1, 7, 0}, Params{huge, -huge, huge, huge, 1e18, -1e18},
              Params{1, 0.5, -0.5, 1, huge, -huge}}) {
            IsPossible({.transform = map, .stages = {}}) ? Map(*source, map, GetParam()) : nullptr;
        }
    }
}

/// The root mean square difference of two bitmaps in levels, away from their edges.
double Compare(const DynamicBitmap& a, const DynamicBitmap& b) {
    Distance distance;
    for (int i = 10 * 270; i < 230 * 270; ++i) {
        if (i % 270 >= 10 && i % 270 < 230) {
            const Colour c = GetColour(a, {i % 270 * 1.0, i / 270 * 1.0});
            distance.Add({c[0] * c[3] * 1.0, c[1] * c[3] * 1.0, c[2] * c[3] * 1.0, c[3]},
                         GetColour(b, {i % 270 * 1.0, i / 270 * 1.0}));
        }
    }
    return distance.GetMean();
}

TEST_P(Resampling, ChangesWithTheMapWithoutAJump) {
    const auto source = PaintNoise(240, 240, GetPixelFormat(Format::RGBA8));
    struct Case {
        Params one;
        Params other;
        double most;
    };
    const auto turn = [](double scale) {
        const double half = std::sqrt(0.5) * scale;
        return Params{half, -half, half, half, 120, -50};
    };
    constexpr double Nothing = 1e-4;
    for (const Case& test :
         {// What composing leaves behind is nothing.
          Case{{0.7, 0, 0, 0.6, 0.3, 0.2}, {0.7, 1e-17, -1e-17, 0.6, 0.3, 0.2}, Nothing},
          Case{{1, 0, 0, 1, 4, 3}, {1 - 1e-9, 1e-8, 1e-9, 1, 4.0001, 3}, Nothing},
          Case{{0, -1, 1, 0, 240, 0}, {1e-16, -1, 1, -1e-17, 240, 1e-13}, Nothing},
          Case{{0, -0.5, 0.7, 0, 200, 0}, {1e-16, -0.5, 0.7, 1e-18, 200, 0}, Nothing},
          // From where nothing is filtered but between pixels to where the kernel widens.
          Case{{0.9999, 0, 0, 0.9999, 0.1, 0.1}, {1.0001, 0, 0, 1.0001, 0.1, 0.1}, 6},
          Case{turn(0.9989), turn(0.9991), 6}, Case{turn(0.9999), turn(1.0001), 6},
          // From the upright path to that of all other maps.
          Case{{0.5, 0, 0, 0.6, 0.3, 0.2}, {0.5, 1e-4, 0, 0.6, 0.29, 0.2}, 1},
          Case{{1.4, 0, 0, 0.3, 0.3, 0.2}, {1.4, 1e-4, 0, 0.3, 0.29, 0.2}, 1}}) {
        if (GetParam() != Sampler::Nearest || test.most == Nothing) {
            EXPECT_LE(
                Compare(*Map(*source, test.one, GetParam()), *Map(*source, test.other, GetParam())),
                test.most)
                << test.one.xx << ' ' << test.one.xy << ' ' << test.other.xy;
        }
    }
}

TEST_P(Resampling, CoversPixelsInPart) {
    const auto sum = [&](const Params& map) {
        const auto source = Paint(10, 10, GetPixelFormat(Format::AlphaF), [](int, int) {
            return Colour{0, 0, 0, 1};
        });
        const auto result = Map(*source, map, GetParam(), {{0, 0, 100, 100}});
        double alpha = 0;
        for (int i = 0; i < 100 * 100; ++i) {
            alpha += GetColour(*result, {i % 100 * 1.0, i / 100 * 1.0})[3];
        }
        return alpha;
    };
    for (const Params& map :
         {Params{0.33, 0, 0, 0.33, 2, 3}, Params{0.04, 0, 0, 1, 7.3, 0},
          Params{1, 0, 0, 1, 0.4, 0.7}, Params{0.02, 0.03, -0.03, 0.02, 5.1, 5.2},
          Params{3, 2, -2, 3, 20, 40}, Params{0, 0.37, 2.2, 0, 3.4, 5.6}}) {
        const double area = 100 * std::fabs(map.xx * map.yy - map.xy * map.yx);
        EXPECT_NEAR(sum(map), area, GetParam() == Sampler::Nearest ? 10 : 1e-4) << map.xx;
    }
}

TEST_P(Resampling, ReachesNoFurtherThanItsFilter) {
    for (const float bad : {NAN, INFINITY}) {
        const auto source = Paint(60, 60, GetPixelFormat(Format::RGBAF), [&](int x, int y) {
            return x == 30 && y == 30 ? Colour{bad, bad, bad, bad} : Colour{0.5F, 0.5F, 0.5F, 1};
        });
        for (const Params& map :
             {Params{2.1, 0, 0, 2.3, 0.2, 0.3}, Params{0.6, 0, 0, 0.7, 0.2, 0.3},
              Params{1, 0, 0, 0.9, 0.5, 0.3}, Params{0, 1.4, 0.8, 0, 0.2, 0.3},
              Params{0.9, 0.3, -0.3, 0.9, 20.3, 40.1}, Params{0.4, 0.6, -0.1, 0.7, 20.3, 20.1}}) {
            const Params inverse = *map.Invert();
            const double reach = GetParam() == Sampler::Lanczos   ? 3
                                 : GetParam() == Sampler::Bicubic ? 2
                                                                  : 1;
            const auto result = Map(*source, map, GetParam(), {{0, 0, 140, 140}});
            for (int i = 0; i < 140 * 140; ++i) {
                const auto at = inverse.Map({i % 140 + 0.5, i / 140 + 0.5});
                const double beyondX = std::fabs(at.x - 30.5) - 0.1;
                const double beyondY = std::fabs(at.y - 30.5) - 0.1;
                // A bound of the footprint along both axes.
                const double x =
                    reach * std::max(1.0, std::fabs(inverse.xx) + std::fabs(inverse.xy));
                const double y =
                    reach * std::max(1.0, std::fabs(inverse.yx) + std::fabs(inverse.yy));
                const Colour colour = GetColour(*result, {i % 140 * 1.0, i / 140 * 1.0});
                if (beyondX > x || beyondY > y) {
                    ASSERT_TRUE(std::isfinite(colour[0]) && std::isfinite(colour[3]))
                        << map.xx << ' ' << at.x << ' ' << at.y;
                }
            }
        }
    }
}

TEST_P(Resampling, FadesOnlyAlongWhatShrinks) {
    constexpr double Half = std::numbers::sqrt2 / 2;
    const Params turn{Half, -Half, Half, Half, 170, 0};
    // Squashed and then turned, or the other way round; stripes along what shrinks, or across it.
    const struct {
        Params map;
        AffineTransform::Point across;  // the stripes, in the source
        double period;
        bool isFaded;
    } cases[] = {{turn.Compose(Params::Scale(0.25, 1)), {1, 0}, 2, true},
                 {turn.Compose(Params::Scale(0.25, 1)), {0, 1}, 2, false},
                 {Params::Scale(1, 0.1).Compose(turn), {Half, Half}, 6, true},
                 {Params::Scale(1, 0.1).Compose(turn), {Half, -Half}, 6, false}};
    for (const auto& [map, across, period, isFaded] : cases) {
        const auto source = Paint(240, 240, GetPixelFormat(Format::Alpha8), [&](int x, int y) {
            const double phase = (across.x * x + across.y * y) / period;
            const double wave = std::cos(2 * std::numbers::pi * phase) / 2 + 0.5;
            return std::array{0.0F, 0.0F, 0.0F, static_cast<float>(wave)};
        });
        const auto result = Map(*source, map, GetParam());
        double least = 1;
        double most = 0;
        for (int i = 0; i < 270 * 300; i += 13) {
            const AffineTransform::Point pixel{i % 270 + 0.5, i / 270 + 0.5};
            const auto at = map.Invert()->Map(pixel);
            if (std::min({at.x, at.y, 240 - at.x, 240 - at.y}) > 20) {
                const double alpha = GetColour(*result, pixel)[3];
                least = std::min(least, alpha);
                most = std::max(most, alpha);
            }
        }
        const bool isSeen = !isFaded || GetParam() == Sampler::Nearest;
        EXPECT_LT(isSeen ? 1 - most + least : most - least, 0.25) << period << ' ' << isFaded;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Resampling, testing::ValuesIn(Samplers));

}  // namespace
}  // namespace Raster::Testing
