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

BitmapPointer PaintNoise(int width, int height, const PixelFormat& format) {
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

using Pixel = std::array<double, 4>;

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

/// How far results are from what they should be, in levels of premultiplied samples.
class Distance {
public:
    void Add(const Pixel& expected, Colour got) {
        for (std::size_t c = 0; c < 4; ++c) {
            // Filters overshoot: alpha is clamped, and so are colours without it.
            const double alpha = std::clamp(expected[3], 0.0, 1.0);
            const double colour =
                alpha > 0 ? alpha * std::clamp(expected[c] / expected[3], 0.0, 1.0) : 0;
            const double value = c < 3 ? double{got[c]} * got[3] : got[3];
            const double distance = 255 * (value - (c < 3 ? colour : alpha));
            worst = std::max(worst, std::fabs(distance));
            m_squares += distance * distance;
            ++m_count;
        }
    }
    double GetMean() const { return std::sqrt(m_squares / m_count); }

    double worst = 0;

private:
    double m_squares = 0;
    int m_count = 0;
};

/// The part of the pixel from `pixel` on that lies between the images of 0 and `size`.
double Overlap(double pixel, double scale, double offset, int size) {
    const auto [low, high] = std::minmax({offset, scale * size + offset});
    return std::max(0.0, std::min(pixel + 1, high) - std::max(pixel, low));
}

TEST_P(Resampling, FollowsTheDefinitionOfItsFilter) {
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

TEST_P(Resampling, FollowsTheDefinitionWhenTurned) {
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
INSTANTIATE_TEST_SUITE_P(All, Resampling,
                         testing::Values(Sampler::Nearest, Sampler::Bilinear, Sampler::Bicubic,
                                         Sampler::Lanczos, Sampler::Area));

}  // namespace
}  // namespace Raster::Testing
