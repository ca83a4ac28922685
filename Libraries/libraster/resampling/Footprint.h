// The footprint of a filter under a map that turns: how source pixels are weighted around a point.

#pragma once

#include "Raster/Sampler.h"

#include "resampling/MapShape.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace Raster {

/// Weights are a product of the kernel at two coordinates, which a linear map gives to a pixel's
/// offset from the point. The map is symmetric: it shrinks along the axes of the ellipse that is
/// the image of the destination's unit circle, by their lengths where these are above 1. So the
/// kernel lies along the source's axes, as it must where nothing shrinks, it is the upright one for
/// upright maps, and it changes with the map without a jump. For Area, weights are the parts of
/// pixels that lie in the image of the destination's pixel, and the map is that to the destination.
///
/// Before that, the source may be halved: by a power of two along each axis, as means of pixels.
/// All members are in terms of the halved source.
struct Footprint {
    Footprint(Sampler sampler, const MapShape& shape, int width, int height);

    int halvingsX = 0;
    int halvingsY = 0;
    /// From an offset to coordinates, which are less than 1 within the footprint.
    double xx;
    double xy;
    double yx;
    double yy;
    /// Half the width and height of the footprint.
    double reachX;
    double reachY;
    /// Whether the two coordinates are multiples of x and y.
    bool isSeparable = false;

    /// The image of a destination's pixel, for Area: its points are no further to the side than
    /// `halfWidth`, and no further than `halves` from both lines through the centre with `slopes`.
    struct Image {
        double halfWidth = 0;
        double slopes[2] = {};
        double halves[2] = {};
    };
    std::optional<Image> image{};

private:
    void Widen(const AffineTransform::Params& inverse);
    void Halve(int width, int height);
    void FindReach(Sampler sampler);
    void FindImage();
};

/// A kernel up to its reach, tabulated over 0..1. None for Area.
class KernelTable {
public:
    static constexpr int Steps = 4096;

    explicit KernelTable(Sampler sampler);

    /// Steps + 1 values, the last of them 0.
    const float* Get() const noexcept { return m_values.data(); }

private:
    std::vector<float> m_values;
};

/// A polyphase table: the weights of a separable filter's taps along one axis, at evenly spaced
/// phases.
class PhaseTable {
public:
    static constexpr int PhaseCount = 256;
    static constexpr std::size_t MaximumCount = 64;

    /// `reach` is half the width of the footprint in pixels, at most MaximumCount / 2.
    PhaseTable(Sampler sampler, double reach);

    double GetReach() const noexcept { return m_reach; }
    /// Taps are the pixels whose centres are nearer than `reach`; this is the most there can be.
    std::size_t GetCount() const noexcept { return m_count; }
    /// The same, rounded up to whole vectors; the weights beyond are 0.
    std::size_t GetPaddedCount() const noexcept { return m_paddedCount; }
    /// For each phase the weights and then their differences from those of the next phase. Phase 0
    /// is that of a point whose footprint begins at a pixel's centre, which is no tap then.
    const float* Get() const noexcept { return m_weights.data(); }

private:
    double m_reach;
    std::size_t m_count;
    std::size_t m_paddedCount;
    std::vector<float> m_weights;
};

}  // namespace Raster
