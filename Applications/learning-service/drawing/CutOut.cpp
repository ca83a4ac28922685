#include "drawing/CutOut.h"

#include "Raster/Compositing.h"

#include <array>
#include <limits>

namespace Service {

namespace {

constexpr std::size_t ColourCount = 6;

/// The colours of a part of a picture; each stands for those around it.
using MainColours = std::array<Colour, ColourCount>;

float GetSquaredDistance(Colour a, Colour b) noexcept {
    const Colour d = a + b * -1.0F;
    return d.red * d.red + d.green * d.green + d.blue * d.blue;
}

float GetDistance(Colour colour, const MainColours& colours) noexcept {
    float nearest = std::numeric_limits<float>::max();
    for (const Colour& other : colours) {
        nearest = std::min(nearest, GetSquaredDistance(colour, other));
    }
    return std::sqrt(nearest);
}

/// The opaque pixels at the left, upper and right border; what stands on the ground touches the
/// lower one.
std::vector<Colour> TakeBorder(const Raster::ConstPixelView& view) {
    std::vector<Colour> border;
    const auto take = [&](int x, int y) {
        constexpr std::uint8_t Opaque = 250;
        const std::uint8_t* const pixel = GetPixel(view, x, y);
        if (pixel[3] >= Opaque) {
            border.push_back(GetColour(pixel));
        }
    };
    const int depth = std::max(std::min(view.width, view.height) / 40, 1);
    for (int i = 0; i < depth; ++i) {
        for (int x = 0; x < view.width; ++x) {
            take(x, i);
        }
        for (int y = depth; y < view.height; ++y) {
            take(i, y);
            take(view.width - 1 - i, y);
        }
    }
    return border;
}

/// The means of clusters of `colours`, of which there is one at least (Lloyd's algorithm).
MainColours FindClusters(const std::vector<Colour>& colours) {
    MainColours means;
    for (std::size_t i = 0; i < ColourCount; ++i) {
        means[i] = colours[i * (colours.size() - 1) / (ColourCount - 1)];
    }
    constexpr int Rounds = 8;
    for (int round = 0; round < Rounds; ++round) {
        std::array<Colour, ColourCount> sums{};
        std::array<float, ColourCount> counts{};
        for (const Colour& colour : colours) {
            const auto* const nearest = std::ranges::min_element(
                means, {}, [&](const Colour& mean) { return GetSquaredDistance(colour, mean); });
            const auto index = static_cast<std::size_t>(nearest - means.begin());
            sums[index] = sums[index] + colour;
            ++counts[index];
        }
        for (std::size_t i = 0; i < ColourCount; ++i) {
            if (counts[i] > 0) {
                means[i] = sums[i] * (1 / counts[i]);
            }
        }
    }
    return means;
}

/// The distance from the background that a share of `colours` keeps to.
float FindDistance(const std::vector<Colour>& colours, const MainColours& background,
                   double share) {
    std::vector<float> distances;
    distances.reserve(colours.size());
    for (const Colour& colour : colours) {
        distances.push_back(GetDistance(colour, background));
    }
    const auto place = static_cast<std::size_t>(share * static_cast<double>(colours.size() - 1));
    std::ranges::nth_element(distances, distances.begin() + static_cast<std::ptrdiff_t>(place));
    return distances[place];
}

/// What tells the thing from its background.
struct Division {
    MainColours background{};
    MainColours foreground{};

    /// 0 for colours of the background, 1 for those of the thing.
    float GetScore(Colour colour) const noexcept {
        const float toBackground = GetDistance(colour, background);
        const float toForeground = GetDistance(colour, foreground);
        constexpr float Least = 1e-4F;
        return toBackground / (toBackground + toForeground + Least);
    }
};

/// The score of each pixel, smoothed, and higher in the middle than at the sides; 0 for what is
/// transparent.
std::vector<float> ScorePixels(const Picture& small, const Division& division) {
    const PicturePointer scores = small.Clone();
    ChangeColours(*scores, [&](Colour colour, int, int) {
        const float score = division.GetScore(colour);
        return Colour{score, score, score};
    });
    const auto smooth = Raster::BoxFilter(*Raster::BoxFilter(*scores, 2), 2);
    const Raster::ConstPixelView view = std::as_const(*smooth).GetHostView();
    std::vector<float> result;
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            const float u = 2 * static_cast<float>(x) / static_cast<float>(view.width) - 1;
            const float v = 2 * static_cast<float>(y) / static_cast<float>(view.height) - 1;
            const std::uint8_t* const pixel = GetPixel(view, x, y);
            constexpr float Middle = 0.12F;
            const float prior = Middle * (0.7F - u * u - 0.5F * v * v);
            result.push_back(pixel[3] < 128 ? 0 : GetColour(pixel).green + prior);
        }
    }
    return result;
}

/// 1 for what scores below a half and hangs together with the border by it, else 0.
std::vector<std::uint8_t> FloodFromBorder(const std::vector<float>& scores, std::size_t width) {
    const std::size_t height = scores.size() / width;
    std::vector<std::uint8_t> isReached(scores.size());
    std::vector<std::size_t> open;
    const auto visit = [&](std::size_t place) {
        if (isReached[place] == 0 && scores[place] < 0.5F) {
            isReached[place] = 1;
            open.push_back(place);
        }
    };
    for (std::size_t x = 0; x < width; ++x) {
        visit(x);
        visit((height - 1) * width + x);
    }
    for (std::size_t y = 0; y < height; ++y) {
        visit(y * width);
        visit(y * width + width - 1);
    }
    while (!open.empty()) {
        const std::size_t place = open.back();
        open.pop_back();
        if (place % width > 0) {
            visit(place - 1);
        }
        if (place % width + 1 < width) {
            visit(place + 1);
        }
        if (place >= width) {
            visit(place - width);
        }
        if (place + width < scores.size()) {
            visit(place + width);
        }
    }
    return isReached;
}

/// The colours of those pixels of which `isWanted(colour, index)`.
template <class IsWanted>
std::vector<Colour> CollectColours(const Picture& small, IsWanted isWanted) {
    const Raster::ConstPixelView view = small.GetHostView();
    std::vector<Colour> colours;
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            const std::uint8_t* const pixel = GetPixel(view, x, y);
            const auto index = static_cast<std::size_t>(y) * static_cast<std::size_t>(view.width) +
                               static_cast<std::size_t>(x);
            if (pixel[3] >= 128 && isWanted(GetColour(pixel), index)) {
                colours.push_back(GetColour(pixel));
            }
        }
    }
    return colours;
}

/// Whether nothing near `index` is reached: beside an edge the smoothed scores mislead.
bool IsDeepInside(const std::vector<std::uint8_t>& isReached, std::size_t index,
                  std::size_t width) {
    constexpr std::size_t Depth = 4;
    const std::size_t down = Depth * width;
    return isReached[index] == 0 && isReached[index - std::min(index, Depth)] == 0 &&
           isReached[std::min(index + Depth, isReached.size() - 1)] == 0 &&
           (index < down || isReached[index - down] == 0) &&
           (index + down >= isReached.size() || isReached[index + down] == 0);
}

/// Divides by colour, then learns the colours of the thing anew, some times. Sets `isReached` to 1
/// for the background. False if there is nothing to divide.
bool Divide(const Picture& small, Division& division, std::vector<std::uint8_t>& isReached) {
    const std::vector<Colour> border = TakeBorder(small.GetHostView());
    if (border.empty()) {
        return false;
    }
    division.background = FindClusters(border);
    // What is farther from the background than most of the border, and not much nearer than the
    // farthest.
    const std::vector<Colour> all = CollectColours(small, [](Colour, std::size_t) { return true; });
    const float ofBorder = 1.6F * FindDistance(border, division.background, 0.9);
    const float ofAll = 0.3F * FindDistance(all, division.background, 0.98);
    constexpr float Least = 0.06F;
    const float threshold = std::max({ofBorder, ofAll, Least});
    std::vector<Colour> foreground = CollectColours(small, [&](Colour colour, std::size_t) {
        return GetDistance(colour, division.background) > threshold;
    });
    constexpr int Rounds = 3;
    for (int round = 0; round < Rounds && !foreground.empty(); ++round) {
        division.foreground = FindClusters(foreground);
        isReached = FloodFromBorder(ScorePixels(small, division),
                                    static_cast<std::size_t>(small.GetWidth()));
        foreground = CollectColours(small, [&](Colour, std::size_t index) {
            return IsDeepInside(isReached, index, static_cast<std::size_t>(small.GetWidth()));
        });
    }
    return !isReached.empty();
}

/// How much of the background is at each pixel of the small picture, as a picture that can be
/// enlarged; null if that is next to nothing or next to all.
PicturePointer MakeSmallMatte(const Picture& small, const std::vector<std::uint8_t>& isReached) {
    std::size_t count = 0;
    PicturePointer matte = MakePicture(small.GetWidth(), small.GetHeight());
    const Raster::PixelView view = matte->GetHostView();
    for (std::size_t i = 0; i < isReached.size(); ++i) {
        std::uint8_t* const pixel =
            GetPixel(view, static_cast<int>(i) % view.width, static_cast<int>(i) / view.width);
        pixel[0] = isReached[i] != 0 ? 0 : 255;
        pixel[3] = 255;
        count += isReached[i];
    }
    const bool isPlausible =
        count * 100 > isReached.size() && count * 1000 < isReached.size() * 998;
    return isPlausible ? matte : nullptr;
}

PicturePointer Shrink(const Picture& picture) {
    constexpr int Side = 320;
    const int side = std::max(picture.GetWidth(), picture.GetHeight());
    const double scale = std::min(1.0, static_cast<double>(Side) / side);
    const auto size = [scale](int whole) { return std::max(static_cast<int>(whole * scale), 1); };
    PicturePointer small = MakePicture(size(picture.GetWidth()), size(picture.GetHeight()));
    const auto resized = Raster::Resize(picture, small->GetWidth(), small->GetHeight(),
                                        Raster::Format::RGBA8, Raster::Sampler::Area);
    Raster::Convert(*small, *resized);
    return small;
}

}  // namespace

std::vector<std::uint8_t> FindForeground(const Picture& picture) {
    const Raster::ConstPixelView view = picture.GetHostView();
    const PicturePointer small = Shrink(picture);
    Division division;
    std::vector<std::uint8_t> isReached;
    const PicturePointer matte =
        Divide(*small, division, isReached) ? MakeSmallMatte(*small, isReached) : nullptr;
    Kernel::Counted<Raster::DynamicBitmap> inside;
    if (matte) {
        inside = Raster::Resize(*Raster::BoxFilter(*matte, 1), view.width, view.height,
                                Raster::Format::RGBA8, Raster::Sampler::Bilinear);
    }
    std::vector<std::uint8_t> alpha;
    alpha.reserve(static_cast<std::size_t>(view.width) * static_cast<std::size_t>(view.height));
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            const std::uint8_t* const pixel = GetPixel(view, x, y);
            std::uint8_t found =
                inside ? GetPixel(std::as_const(*inside).GetHostView(), x, y)[0] : 255;
            if (found > 8 && found < 247) {  // at an edge, where the small picture knows too little
                const float share = static_cast<float>(found) / 255;
                found = ToByte(SmoothStep(
                    0.35F, 0.65F, division.GetScore(GetColour(pixel)) + 0.5F * (share - 0.5F)));
            }
            alpha.push_back(static_cast<std::uint8_t>(found * pixel[3] / 255));
        }
    }
    return alpha;
}

}  // namespace Service
