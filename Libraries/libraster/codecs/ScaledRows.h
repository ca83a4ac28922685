// A target of a decoder's scanlines that has another size than the picture.

#pragma once

#include "Raster/Rendering.h"

#include "codecs/Decoder.h"

#include <cstddef>
#include <vector>

namespace Raster {

/// How a picture is scaled, edge to edge.
struct Scaling {
    int width = 0;  // of the target, upright
    int height = 0;
    Sampler sampler = Sampler::Area;
    ColourConversion colours{};  // possible; its writer is the target's matter
};

/// Renders `source`, a picture as stored, into all of `target`, upright.
void RenderScaled(const ConstPixelView& source, const Orientation& orientation,
                  const Scaling& scaling, SpanTarget& target, const bool* abort);

/// Takes the rows of a picture in order and renders each band of the target when all rows that its
/// filter needs are there: only these are kept. The pixels are the same as by RenderScaled().
class ScaledRows {
public:
    static constexpr std::size_t DefaultBandSize = std::size_t{12} << 20;

    /// `bandSize` bytes are kept beyond the rows that one row of the target needs, so that bands
    /// are high.
    ScaledRows(const PictureHead& head, const Scaling& scaling, SpanTarget& target,
               const bool* abort, std::size_t bandSize = DefaultBandSize) noexcept;

    /// The bytes that Allocate() takes.
    std::uint64_t GetSize() const noexcept;
    void Allocate();

    /// The buffer for row `y` of the file, in the file's format.
    std::byte* GetRow(int y) noexcept;
    /// Takes what was written to GetRow().
    void FinishRow(int y);

private:
    // The rows of the file that a row of the target needs, with some to spare.
    int FindFirst(int row) const noexcept;
    int FindEnd(int row) const noexcept;
    void PlanBand(int first) noexcept;
    void RenderBand();
    void KeepFrom(int first) noexcept;

    const PictureHead& m_head;
    const Scaling& m_scaling;
    SpanTarget& m_target;
    const bool* m_abort;
    int m_rowCount;  // of the target as stored: not turned yet
    double m_step;   // rows of the file per row of the target
    double m_reach;
    std::size_t m_stride;
    int m_capacity;  // in rows
    std::vector<std::byte> m_rows;
    int m_base = 0;    // the row of the file that comes first in m_rows
    int m_loaded = 0;  // the rows of the file that have come
    // The next band of the target, and the rows of the file at which it can be rendered.
    int m_bandFirst = 0;
    int m_bandEnd = 0;
    int m_goal = 0;
};

}  // namespace Raster
