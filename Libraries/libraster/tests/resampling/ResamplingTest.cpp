#include "Raster/DynamicBitmap.h"
#include "Raster/Rendering.h"

#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace Raster::Testing {
namespace {

using Params = AffineTransform::Params;
using BitmapPointer = Kernel::Counted<DynamicBitmap>;
using Colour = std::array<float, 4>;

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

/// A bitmap whose unit-float pixels `paint(x, y)` gives.
template <class Painter>
BitmapPointer Paint(int width, int height, const PixelFormat& format, Painter paint) {
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    const PixelView view = bitmap->GetHostView();
    for (int i = 0; i < width * height; ++i) {
        alignas(64) const Colour rgba = paint(i % width, i / width);
        view.format->write(rgba.data(), view.At(i % width, i / width), 1);
    }
    return bitmap;
}

BitmapPointer MakeNoise(int width, int height, const PixelFormat& format) {
    std::mt19937 random(7);
    return Paint(width, height, format, [&random](int, int) {
        Colour colour{};
        std::ranges::generate(colour, [&] { return static_cast<float>(random() % 256) / 255; });
        return colour;
    });
}

Colour GetColour(const DynamicBitmap& bitmap, AffineTransform::Point at) {
    alignas(64) Colour rgba{};
    bitmap.GetPixelFormat().read(
        bitmap.GetHostView().At(static_cast<int>(at.x), static_cast<int>(at.y)), rgba.data(), 1);
    return rgba;
}

/// All of a bitmap, rectangle by rectangle.
BitmapPointer Map(const DynamicBitmap& source, const Params& transform, Sampler sampler,
                  const std::vector<Rect>& rects = {{0, 0, 270, 300}}) {
    auto result = Kernel::MakeCounted<DynamicBitmap>(270, 300, source.GetPixelFormat());
    const ViewSource from(source.GetHostView());
    ViewTarget to(result->GetHostView());
    const Rendering rendering{.transform = transform, .sampler = sampler, .stages = {}};
    for (const Rect& rect : rects) {
        RunHostPath({&from, &to, nullptr, &rendering, nullptr}, rect);
    }
    return result;
}

class Resampling : public testing::TestWithParam<Sampler> {
protected:
    ~Resampling() override { UseInstructionSets(0); }
};

TEST_P(Resampling, GivesTheSameHoweverItIsCutAndWhateverTheInstructions) {
    std::vector<Rect> cuts{{0, 0, 131, 70}, {131, 0, 270, 70}, {0, 77, 270, 300}};
    for (int x = 0; x < 270; ++x) {
        cuts.push_back({x, 70, x + 1, 77});
    }
    for (const Format format : {Format::RGBA8, Format::RGBAF}) {
        const auto source = MakeNoise(250, 240, GetPixelFormat(format));
        for (const Params& map : Maps) {
            UseInstructionSets(0);
            const auto whole = Map(*source, map, GetParam());
            EXPECT_TRUE(Map(*source, map, GetParam(), cuts)->IsEqual(*whole)) << map.xx;
            for (const std::int64_t target : GetInstructionSets()) {
                UseInstructionSets(target);
                EXPECT_TRUE(Map(*source, map, GetParam())->IsEqual(*whole)) << target << map.xx;
            }
        }
    }
}

TEST_P(Resampling, MovesWholePixelsToTheBit) {
    for (const PixelFormat* format :
         {&GetPixelFormat(Format::RGBA8), &GetPixelFormat(Format::CMYKA8),
          &GetPixelFormat(Format::RGBAF), &GetOwnFormat()}) {
        const auto source = MakeNoise(150, 140, *format);
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
            ASSERT_EQ(colour, colour[3] > 0 ? Orange : Colour{});
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

/// The filters as their definitions have them, for a source pixel `x` pixels off the centre.
double Evaluate(Sampler sampler, double x, double step) {
    const double t = std::fabs(x) / std::max(1.0, step);
    const double angle = std::numbers::pi * std::max(t, 1e-9);
    switch (sampler) {
        case Sampler::Nearest:
            return x > -0.5 && x <= 0.5 ? 1 : 0;
        case Sampler::Area:
            return std::max(0.0, std::min(x + 0.5, step / 2) - std::max(x - 0.5, -step / 2));
        case Sampler::Bicubic:
            return t > 2   ? 0
                   : t < 1 ? (1.5 * t - 2.5) * t * t + 1
                           : ((2.5 - 0.5 * t) * t - 4) * t + 2;
        case Sampler::Lanczos:
            return t > 3 ? 0 : 3 * std::sin(angle) * std::sin(angle / 3) / angle / angle;
        default:
            return std::max(0.0, 1 - t);
    }
}

/// The weights of a row or column of the source; pixels beyond it count for its edges.
std::vector<double> Weigh(Sampler sampler, double centre, double step, int size) {
    std::vector<double> weights(static_cast<std::size_t>(size));
    double whole = 0;
    for (int tap = -60; tap < 100; ++tap) {
        const double weight = Evaluate(sampler, tap + 0.5 - centre, step);
        weights[static_cast<std::size_t>(std::clamp(tap, 0, size - 1))] += weight;
        whole += weight;
    }
    std::ranges::transform(weights, weights.begin(), [&](double weight) { return weight / whole; });
    return weights;
}

TEST_P(Resampling, FollowsTheDefinitionOfItsFilter) {
    constexpr int Width = 40;
    constexpr int Height = 30;
    for (const Format format : {Format::AlphaF, Format::RGBA8}) {
        const auto source = MakeNoise(Width, Height, GetPixelFormat(format));
        std::vector<double> alphas;
        for (int j = 0; j < Width * Height; ++j) {
            alphas.push_back(GetColour(*source, {j % Width * 1.0, j / Width * 1.0})[3]);
        }
        // Smaller, larger, mirrored; pixels right on others, on edges, between two; then turned.
        for (const Params& map :
             {Params{0.3, 0, 0, 1.7, 0.31, -7.1}, Params{-0.4, 0, 0, 0.3, 15.33, 0.2},
              Params{1, 0, 0, -1, 0.31, 29.5}, Params{2.7, 0, 0, -0.6, 0.31, 20.7},
              Params{3, 0, 0, 3, 0, 0}, Params{1, 0, 0, 1, 0.5, 0.5}, Params{0, -1, 1, 0, 30.5, 0},
              Params{0, -1, 1, 0, 30, 0.5}, Params{0, -1, 2, 0, 30, 0},
              Params{1.2, 0.9, -0.9, 1.2, -9.83, 18.17}}) {
            const Params inverse = *map.Invert();
            const bool isTurned = !map.IsAxisAligned();
            const Sampler sampler =
                isTurned && GetParam() == Sampler::Area ? Sampler::Bilinear : GetParam();
            const auto result = Map(*source, map, GetParam(), {{0, 0, 48, 48}});
            for (int i = 0; i < 48 * 48; i += 13) {
                const double x = i % 48;
                const double y = i / 48;
                const auto at = inverse.Map({x + 0.5, y + 0.5});
                const bool isInside = at.x >= 0 && at.x < Width && at.y >= 0 && at.y < Height;
                const auto columns = Weigh(sampler, at.x, std::fabs(inverse.xx), Width);
                const auto rows = Weigh(sampler, at.y, std::fabs(inverse.yy), Height);
                double sum = 0;
                for (std::size_t j = 0; j < alphas.size() && isInside; ++j) {
                    sum += columns[j % Width] * rows[j / Width] * alphas[j];
                }
                const double tolerance = format == Format::RGBA8 ? 0.502 / 255
                                         : isTurned              ? 1e-4
                                                                 : 1e-5;
                ASSERT_NEAR(GetColour(*result, {x, y})[3], std::clamp(sum, 0.0, 1.0), tolerance)
                    << map.xx << ' ' << map.dx << ' ' << x << ' ' << y;
            }
        }
    }
}

TEST_P(Resampling, FadesOnlyAlongWhatShrinks) {
    // To a quarter along x alone, then turned by 45 degrees.
    const Params map =
        Params{std::sqrt(0.5), -std::sqrt(0.5), std::sqrt(0.5), std::sqrt(0.5), 170, 0}.Compose(
            Params::Scale(0.25, 1));
    for (const bool isAlong : {false, true}) {
        const auto source = Paint(240, 240, GetPixelFormat(Format::Alpha8), [&](int x, int y) {
            return std::array{0.0F, 0.0F, 0.0F, (isAlong ? x : y) % 2 == 0 ? 1.0F : 0.0F};
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
        const bool isFaded = isAlong && GetParam() != Sampler::Nearest;
        EXPECT_LT(isFaded ? most - least : 1 - most + least, 0.2);
    }
}
INSTANTIATE_TEST_SUITE_P(All, Resampling,
                         testing::Values(Sampler::Nearest, Sampler::Bilinear, Sampler::Bicubic,
                                         Sampler::Lanczos, Sampler::Area));

}  // namespace
}  // namespace Raster::Testing
