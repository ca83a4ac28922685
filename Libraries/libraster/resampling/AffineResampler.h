// Resampling under rotation and shear.

#pragma once

#include "resampling/FilterTaps.h"
#include "resampling/Resampler.h"

#include <array>

namespace Raster {

/// A polyphase table: the weights of a filter's taps at evenly spaced phases between two pixels.
class PhaseTable {
public:
    explicit PhaseTable(Sampler sampler);

    std::size_t GetCount() const noexcept { return m_count; }
    /// The weights, interpolated, for a point at `phase`, 0..1, past the tap of index GetCount() /
    /// 2 - 1.
    void Get(double phase, float* weights) const noexcept;

private:
    static constexpr std::size_t PhaseCount = 256;
    static constexpr std::size_t MaximumCount = 6;

    std::size_t m_count;
    std::array<std::array<float, MaximumCount>, PhaseCount + 1> m_weights{};
};

/// Evaluates the filter kernel around each point. For downscaling, the source is first prefiltered
/// along its own rows and columns to about the target size, so that a kernel of few taps suffices.
class AffineResampler final : public Resampler {
public:
    AffineResampler(const SpanSource& source, const AffineTransform::Params& inverse,
                    Sampler sampler, const Rect& rect, const bool* abort);
    std::unique_ptr<TileRows> OpenTile(const Rect& tile) const override;

private:
    void Reduce(const SpanSource& source, double stepX, double stepY, const Rect& rect,
                const bool* abort);

    int m_width;
    int m_height;
    AffineTransform::Params m_inverse;
    PhaseTable m_table;
    // What is sampled, the source itself or a reduced part of it, and the map from the destination
    // to it.
    const SpanSource* m_picture;
    AffineTransform::Params m_toPicture;
    std::vector<RowBuffer> m_reducedPixels;
    std::unique_ptr<const SpanSource> m_reduced;
};

}  // namespace Raster
