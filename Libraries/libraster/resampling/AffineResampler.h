// Sources that are turned or sheared.

#pragma once

#include "resampling/FilterTaps.h"
#include "resampling/Resampler.h"

#include <array>

namespace Raster {

/// The weights of a filter's taps at evenly spaced places between two pixels.
class PhaseTable {
public:
    explicit PhaseTable(Sampler sampler);

    std::size_t GetCount() const noexcept { return m_count; }
    /// The weights for a point at `phase`, 0..1, after the tap with number GetCount() / 2 - 1.
    void Get(double phase, float* weights) const noexcept;

private:
    static constexpr std::size_t PhaseCount = 256;
    static constexpr std::size_t MaximumCount = 6;

    std::size_t m_count;
    std::array<std::array<float, MaximumCount>, PhaseCount + 1> m_weights{};
};

/// Evaluates the filter around each point. A source that is shrunk is first reduced along its own
/// rows and columns to about the size that it will have, so that few pixels around a point suffice.
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
    // What is read, which is the source itself or a part of it, reduced, and the way to it.
    const SpanSource* m_picture;
    AffineTransform::Params m_toPicture;
    std::vector<RowBuffer> m_reducedPixels;
    std::unique_ptr<const SpanSource> m_reduced;
};

}  // namespace Raster
