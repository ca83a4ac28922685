#include "codecs/ScaledRows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace Raster {

namespace {

/// A picture's target in which the stored pixels are turned upright.
class UprightTarget final : public SpanTarget {
public:
    /// `width` and `height` are those of the upright target.
    UprightTarget(SpanTarget& target, const Orientation& orientation, int width,
                  int height) noexcept
        : m_target(target), m_orientation(orientation), m_width(width), m_height(height) {}

    void Write(int x, int y, std::size_t count, const float* rgba) override {
        for (std::size_t i = 0; i < count; ++i) {
            const auto [column, row] = Turn(x + static_cast<int>(i), y);
            alignas(64) float pixel[4];  // as targets may rely on
            std::copy_n(rgba + i * 4, 4, pixel);
            m_target.Write(column, row, 1, pixel);
        }
    }

    void Read(int x, int y, std::size_t count, float* rgba) const override {
        for (std::size_t i = 0; i < count; ++i) {
            const auto [column, row] = Turn(x + static_cast<int>(i), y);
            alignas(64) float pixel[4];
            m_target.Read(column, row, 1, pixel);
            std::copy_n(pixel, 4, rgba + i * 4);
        }
    }

private:
    std::array<int, 2> Turn(int x, int y) const noexcept {
        if (m_orientation.isTransposed) {
            std::swap(x, y);
        }
        return {m_orientation.isMirroredInX ? m_width - 1 - x : x,
                m_orientation.isMirroredInY ? m_height - 1 - y : y};
    }

    SpanTarget& m_target;
    Orientation m_orientation;
    int m_width;
    int m_height;
};

/// The size of the target as stored: before it is turned upright.
Rect GetStoredBounds(const Orientation& orientation, const Scaling& scaling) noexcept {
    return orientation.isTransposed ? Rect{0, 0, scaling.height, scaling.width}
                                    : Rect{0, 0, scaling.width, scaling.height};
}

/// Renders the rows from `top` up to `bottom` of the target as stored.
void RenderRows(const ConstPixelView& source, const Orientation& orientation,
                const Scaling& scaling, SpanTarget& target, int top, int bottom,
                const bool* abort) {
    const Rect stored = GetStoredBounds(orientation, scaling);
    Rendering rendering;
    rendering.sampler = scaling.sampler;
    rendering.transform = AffineTransform::Params::MapRect(
        {0, 0, double{1} * source.width, double{1} * source.height},
        {0, 0, double{1} * stored.right, double{1} * stored.bottom});
    static_cast<void>(AddColours(rendering, scaling.colours));
    UprightTarget upright(target, orientation, scaling.width, scaling.height);
    const ViewSource from(source, scaling.colours.reader);
    SpanTarget* const to = orientation == Orientation{} ? &target : &upright;
    RunHostPath({&from, to, nullptr, &rendering, abort}, {0, top, stored.right, bottom});
    CheckAbort(abort);
}

/// How far a filter reaches, in pixels of the coarser side; never too little.
double GetReach(Sampler sampler) noexcept {
    switch (sampler) {
        case Sampler::Lanczos:
            return 3;
        case Sampler::Bicubic:
            return 2;
        default:
            return 1;
    }
}

}  // namespace

void RenderScaled(const ConstPixelView& source, const Orientation& orientation,
                  const Scaling& scaling, SpanTarget& target, const bool* abort) {
    const Rect stored = GetStoredBounds(orientation, scaling);
    RenderRows(source, orientation, scaling, target, 0, stored.bottom, abort);
}

ScaledRows::ScaledRows(const PictureHead& head, const Scaling& scaling, SpanTarget& target,
                       const bool* abort, std::size_t bandSize) noexcept
    : m_head(head),
      m_scaling(scaling),
      m_target(target),
      m_abort(abort),
      m_rowCount(GetStoredBounds(head.orientation, scaling).bottom),
      m_step(double{1} * head.height / m_rowCount) {
    constexpr double Spare = 4;  // for rounding, and taps of weight 0
    m_reach = GetReach(scaling.sampler) * std::max(m_step, 1.0) + Spare;
    const std::size_t rowSize =
        static_cast<std::size_t>(head.width) * GetPixelFormat(head.format).GetPixelSize();
    // An odd number of cache lines, so that the rows of a column map to different cache sets.
    m_stride = (rowSize / 128) * 128 + 192;
    const std::size_t bandRows = bandSize / m_stride;
    const double rows = std::ceil(2 * m_reach) + 2 + static_cast<double>(bandRows);
    m_capacity = static_cast<int>(std::min<double>(rows, head.height));
    PlanBand(0);
}

std::uint64_t ScaledRows::GetSize() const noexcept {
    return std::uint64_t{m_stride} * static_cast<std::uint64_t>(m_capacity);
}

void ScaledRows::Allocate() {
    m_rows.resize(GetSize());
}

std::byte* ScaledRows::GetRow(int y) noexcept {
    // Rows that no band needs are overwritten.
    return m_rows.data() + static_cast<std::size_t>(std::max(y - m_base, 0)) * m_stride;
}

void ScaledRows::FinishRow(int y) {
    m_loaded = y + 1;
    while (m_bandFirst < m_rowCount && m_loaded >= m_goal) {
        RenderBand();
        PlanBand(m_bandEnd);
    }
}

int ScaledRows::FindFirst(int row) const noexcept {
    const double first = std::floor((row + 0.5) * m_step - m_reach);
    return static_cast<int>(std::clamp<double>(first, 0, m_head.height - 1));
}

int ScaledRows::FindEnd(int row) const noexcept {
    const double end = std::ceil((row + 0.5) * m_step + m_reach);
    return static_cast<int>(std::clamp<double>(end, 1, m_head.height));
}

/// Plans as many rows of the target from `first` on as there is room for, and drops what they do
/// not need.
void ScaledRows::PlanBand(int first) noexcept {
    m_bandFirst = first;
    m_bandEnd = first;
    if (first == m_rowCount) {
        m_base = m_head.height;
        return;
    }
    KeepFrom(FindFirst(first));
    do {
        ++m_bandEnd;
    } while (m_bandEnd < m_rowCount && FindEnd(m_bandEnd) - m_base <= m_capacity);
    m_goal = FindEnd(m_bandEnd - 1);
}

void ScaledRows::KeepFrom(int first) noexcept {
    if (first < m_loaded && first > m_base) {
        std::memmove(GetRow(m_base), GetRow(first),
                     static_cast<std::size_t>(m_loaded - first) * m_stride);
    }
    m_base = first;
}

void ScaledRows::RenderBand() {
    // The view is that of the whole picture, of which only the rows of the band are there: the
    // filter then has the same coordinates, and gives the same pixels, as with all of them.
    const auto start = reinterpret_cast<std::uintptr_t>(m_rows.data()) -
                       static_cast<std::uintptr_t>(m_base) * m_stride;
    const ConstPixelView view{
        reinterpret_cast<const std::byte*>(start),  // NOLINT(performance-no-int-to-ptr)
        static_cast<std::ptrdiff_t>(m_stride), m_head.width, m_head.height,
        &GetPixelFormat(m_head.format)};
    RenderRows(view, m_head.orientation, m_scaling, m_target, m_bandFirst, m_bandEnd, m_abort);
}

}  // namespace Raster
