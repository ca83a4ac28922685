#include "tests/resampling/EverySampler.h"
#include "tests/resampling/Resampled.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace Raster::Testing {
namespace {

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

/// A source as its definition sees it: premultiplied.
struct Definition {
    explicit Definition(const DynamicBitmap& bitmap)
        : width(bitmap.GetWidth()), height(bitmap.GetHeight()) {
        for (int i = 0; i < width * height; ++i) {
            const Colour c = GetColour(bitmap, {i % width * 1.0, i / width * 1.0});
            pixels.push_back({c[0] * c[3] * 1.0, c[1] * c[3] * 1.0, c[2] * c[3] * 1.0, c[3]});
        }
    }

    bool Has(AffineTransform::Point at) const {
        return at.x >= 0 && at.x < width && at.y >= 0 && at.y < height;
    }

    /// The mean of all pixels, by the weights that `weigh` gives to offsets from `at`, times
    /// `share`. No weight beyond `reach` is other than 0.
    template <class Weigher>
    Pixel Filter(AffineTransform::Point at, double reach, double share, Weigher weigh) const {
        const auto begin = [&](double x) { return std::max(0, static_cast<int>(x - reach)); };
        Pixel sum{};
        double whole = 0;
        for (int y = begin(at.y); y < std::min<double>(height, at.y + reach); ++y) {
            for (int x = begin(at.x); x < std::min<double>(width, at.x + reach); ++x) {
                const double weight = weigh(x + 0.5 - at.x, y + 0.5 - at.y);
                whole += weight;
                for (std::size_t c = 0; c < 4; ++c) {
                    sum[c] += weight * pixels[static_cast<std::size_t>(y * width + x)][c];
                }
            }
        }
        std::ranges::for_each(sum, [&](double& sample) { sample *= share / whole; });
        return sum;
    }

    AffineTransform::Point Clamp(AffineTransform::Point at) const {
        return {std::clamp<double>(at.x, 0, width), std::clamp<double>(at.y, 0, height)};
    }

    int width;
    int height;
    std::vector<Pixel> pixels;
};

class Resampled : public testing::TestWithParam<Sampler> {};

/// The part of the pixel from `pixel` on that lies between the images of 0 and `size`.
double Overlap(double pixel, double scale, double offset, int size) {
    const auto [low, high] = std::minmax({offset, scale * size + offset});
    return std::max(0.0, std::min(pixel + 1, high) - std::max(pixel, low));
}

TEST_P(Resampled, FollowsTheDefinitionOfItsFilter) {
    for (const bool isOpaque : {true, false}) {
        const auto noise = PaintNoise(40, 30, GetPixelFormat(Format::RGBA8));
        std::mt19937 random(3);
        const auto source = Paint(40, 30, GetPixelFormat(Format::RGBA16), [&](int x, int y) {
            Colour colour = GetColour(*noise, {x * 1.0, y * 1.0});
            colour[3] = isOpaque ? 1 : std::clamp(colour[3] * 3 - 1, 0.0F, 1.0F);
            return colour;
        });
        const Definition definition(*source);
        // Smaller, larger, mirrored; on the grid, on half pixels, at fractions; quarter turns.
        for (const Params& map :
             {Params{0.3, 0, 0, 1.7, 0.31, -7.1}, Params{-0.4, 0, 0, 0.3, 15.33, 0.2},
              Params{1, 0, 0, -1, 0.31, 29.5}, Params{2.7, 0, 0, -0.6, 0.31, 20.7},
              Params{3, 0, 0, 3, 0, 0}, Params{1, 0, 0, 1, 0.5, 0.5}, Params{0.01, 0, 0, 1, 5.3, 0},
              Params{0, -1, 1, 0, 30.5, 0}, Params{0, -0.4, 2, 0, 30, 0.5},
              Params{0, 1.3, 0.2, 0, 3.1, 2.4}}) {
            const Params inverse = *map.Invert();
            const bool isSwapped = map.xx == 0;
            const double stepX = std::fabs(inverse.xx + inverse.xy);
            const double stepY = std::fabs(inverse.yx + inverse.yy);
            const auto result = Map(*source, map, GetParam(), {{0, 0, 48, 48}});
            Distance distance;
            for (int i = 0; i < 48 * 48; i += 5) {
                const int x = i % 48;
                const int y = i / 48;
                auto at = inverse.Map({x + 0.5, y + 0.5});
                const double share =
                    isSwapped ? Overlap(x, map.xy, map.dx, 30) * Overlap(y, map.yx, map.dy, 40)
                              : Overlap(x, map.xx, map.dx, 40) * Overlap(y, map.yy, map.dy, 30);
                const bool isNearest = GetParam() == Sampler::Nearest;
                at = GetParam() == Sampler::Area || isNearest ? at : definition.Clamp(at);
                Pixel expected{};
                if (isNearest ? definition.Has(at) : share > 0) {
                    expected = definition.Filter(at, isNearest ? 2 : 305, isNearest ? 1 : share,
                                                 [&](double dx, double dy) {
                                                     return Evaluate(GetParam(), dx, stepX) *
                                                            Evaluate(GetParam(), dy, stepY);
                                                 });
                }
                distance.Add(expected, GetColour(*result, {x * 1.0, y * 1.0}));
            }
            EXPECT_LT(distance.worst, 0.1) << map.xx << ' ' << map.xy << ' ' << map.dx;
        }
    }
}

/// Whether noise, a zone plate (frequencies of all sizes and directions) or an opaque disc.
BitmapPointer MakeSubject(int number) {
    const auto noise = PaintNoise(150, 130, GetPixelFormat(Format::RGBA8));
    return Paint(150, 130, GetPixelFormat(Format::RGBA8), [&](int x, int y) {
        const double square = (x - 75) * (x - 75) + (y - 65) * (y - 65);
        const auto wave = static_cast<float>(0.5 + 0.5 * std::cos(square * 0.021));
        const Colour colour = GetColour(*noise, {x * 1.0, y * 1.0});
        return number == 0   ? Colour{colour[0], colour[1], colour[2], 1}
               : number == 1 ? Colour{wave, wave, wave, 1}
                             : Colour{1, 0.5F, 0.25F, square < 60 * 60 ? 1.0F : 0.0F};
    });
}

TEST_P(Resampled, FollowsTheDefinitionWhenTurned) {
    struct Case {
        double turn;  // of the source, then
        double x;     // scaled, then
        double y;
        double after;  // turned again
    };
    constexpr double Degree = std::numbers::pi / 180;
    const auto turn = [](double by) {
        return Params{std::cos(by), -std::sin(by), std::sin(by), std::cos(by), 0, 0};
    };
    const bool isArea = GetParam() == Sampler::Area;
    for (int subject = 0; subject < 3 && GetParam() != Sampler::Nearest; ++subject) {
        const auto source = MakeSubject(subject);
        const Definition definition(*source);
        for (const Case& test :
             {Case{0, 0.25, 0.25, 30}, Case{0, 0.5, 0.5, 30}, Case{0, 0.998, 0.998, 30},
              Case{0, 1, 1, 30}, Case{0, 2.5, 2.5, 30}, Case{0, 0.07, 0.07, -50},
              Case{45, 1, 0.1, 0}, Case{20, 0.3, 1.4, 0}}) {
            Params map = turn(test.after * Degree)
                             .Compose(Params::Scale(test.x, test.y))
                             .Compose(turn(test.turn * Degree));
            const auto middle = map.Map({75, 65});
            map = Params::Translate(60.3 - middle.x, 50.8 - middle.y).Compose(map);
            const Params inverse = *map.Invert();
            // The widened kernel: along the axes of the ellipse, not turned itself.
            const Params stretch =
                turn(-test.turn * Degree)
                    .Compose(Params::Scale(std::min(1.0, test.x), std::min(1.0, test.y)))
                    .Compose(turn(test.turn * Degree));
            const double reach = 3.1 / std::min({1.0, test.x, test.y});
            const auto result = Map(*source, map, GetParam(), {{0, 0, 120, 100}});
            Distance distance;
            for (int i = 0; i < 120 * 100; i += 13) {
                const double x = i % 120;
                const double y = i / 120;
                Pixel mean{};
                double share = 0;
                for (int j = 0; j < 256; ++j) {
                    const auto at = inverse.Map({x + (j % 16 + 0.5) / 16, y + (j / 16 + 0.5) / 16});
                    if (definition.Has(at)) {
                        share += 1 / 256.0;
                        const auto& pixel = definition.pixels[static_cast<std::size_t>(
                            static_cast<int>(at.y) * 150 + static_cast<int>(at.x))];
                        for (std::size_t c = 0; c < 4; ++c) {
                            mean[c] += pixel[c] / 256;
                        }
                    }
                }
                if (share > 0 && !isArea) {
                    mean = definition.Filter(definition.Clamp(inverse.Map({x + 0.5, y + 0.5})),
                                             reach * 1.5, share, [&](double dx, double dy) {
                                                 const auto at = stretch.Map({dx, dy});
                                                 return Evaluate(GetParam(), at.x, 1) *
                                                        Evaluate(GetParam(), at.y, 1);
                                             });
                }
                distance.Add(mean, GetColour(*result, {x, y}));
            }
            EXPECT_LT(distance.GetMean(), 1.5)
                << subject << ' ' << test.x << ' ' << test.y << ' ' << test.turn;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Resampled, testing::ValuesIn(Samplers));

}  // namespace
}  // namespace Raster::Testing
