#include "resampling/AffineResampler.h"

#include "resampling/NearestResampler.h"
#include "resampling/PictureBlock.h"
#include "resampling/PixelFilters.h"
#include "resampling/PointFilters.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Raster {

namespace {

/// The part of a destination pixel that the picture covers. `at` is where its centre comes from.
double FindCoverage(const AffineTransform::Params& inverse, AffineTransform::Point at, int width,
                    int height) noexcept {
    // The square is cut by the four edges in turn, in coordinates relative to its centre.
    struct Edge {
        double alongX;
        double alongY;
        double inside;  // of the centre
    };
    const Edge edges[] = {{inverse.xx, inverse.xy, at.x},
                          {-inverse.xx, -inverse.xy, width - at.x},
                          {inverse.yx, inverse.yy, at.y},
                          {-inverse.yx, -inverse.yy, height - at.y}};
    std::array<AffineTransform::Point, 8> corners{{{-.5, -.5}, {.5, -.5}, {.5, .5}, {-.5, .5}}};
    std::size_t count = 4;
    for (const Edge& edge : edges) {
        const auto find = [&edge](AffineTransform::Point corner) {
            return edge.inside + edge.alongX * corner.x + edge.alongY * corner.y;
        };
        std::array<AffineTransform::Point, 8> rest{};
        std::size_t restCount = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const AffineTransform::Point from = corners[i];
            const AffineTransform::Point to = corners[(i + 1) % count];
            const double before = find(from);
            const double after = find(to);
            if (before >= 0) {
                rest[restCount++] = from;
            }
            if ((before >= 0) != (after >= 0)) {
                const double share = before / (before - after);
                rest[restCount++] = {from.x + (to.x - from.x) * share,
                                     from.y + (to.y - from.y) * share};
            }
        }
        corners = rest;
        count = restCount;
    }
    double area = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const AffineTransform::Point next = corners[(i + 1) % count];
        area += corners[i].x * next.y - next.x * corners[i].y;
    }
    return SnapCoverage(area / 2);
}

/// The data of the resampler for AffineRows.
struct AffineView {
    const SpanSource& source;
    const AffineTransform::Params& inverse;
    const Footprint& footprint;
    const std::vector<PhaseTable>& phases;
    const std::optional<KernelTable>& kernel;
};

/// The rows of a tile, which are made a band at a time, and that in cells small enough for the
/// pixels they need to stay in the cache.
class AffineRows final : public TileRows {
public:
    AffineRows(const AffineView& view, const Rect& tile)
        : m_view(view),
          m_tile(tile),
          m_bandEnd(tile.top),
          m_block(view.source, view.footprint.halvingsX, view.footprint.halvingsY) {
        FindCell();
        m_rows.resize(static_cast<std::size_t>(m_cellHeight));
        m_runs.resize(m_rows.size());
    }

    ColumnRun Read(int y, RowBuffer& row) override {
        if (y >= m_bandEnd) {
            m_bandBegin = y;
            m_bandEnd = std::min(y + m_cellHeight, m_tile.bottom);
            FilterBand();
        }
        const auto index = static_cast<std::size_t>(y - m_bandBegin);
        const ColumnRun run = m_runs[index];
        const auto count = static_cast<std::size_t>(run.end - run.begin) * 4;
        if (count > 0) {
            std::copy_n(m_rows[index].At(run.begin), count, row.rgba);
            Unpremultiply(row.rgba, count / 4);
        }
        MoveInto(run, static_cast<int>(m_tile.GetWidth()), row);
        return run;
    }

private:
    double GetScaleX() const noexcept { return std::ldexp(1.0, -m_view.footprint.halvingsX); }
    double GetScaleY() const noexcept { return std::ldexp(1.0, -m_view.footprint.halvingsY); }
    /// Half the extents of a destination pixel in the source.
    double GetHalfX() const noexcept {
        return (std::fabs(m_view.inverse.xx) + std::fabs(m_view.inverse.xy)) / 2;
    }
    double GetHalfY() const noexcept {
        return (std::fabs(m_view.inverse.yx) + std::fabs(m_view.inverse.yy)) / 2;
    }
    // How far beyond the points of destination pixels their taps lie. Points beyond the source, by
    // as much as half a pixel, are moved to its edge.
    double GetReachX() const noexcept {
        return m_view.footprint.reachX + GetHalfX() * GetScaleX() + 1;
    }
    double GetReachY() const noexcept {
        return m_view.footprint.reachY + GetHalfY() * GetScaleY() + 1;
    }

    void FindCell() noexcept {
        constexpr double MostPixels = 1 << 16;
        constexpr int Least = 8;
        const auto findSize = [&](double scale, double alongX, double alongY, double reach) {
            return scale * (m_cellWidth * std::fabs(alongX) + m_cellHeight * std::fabs(alongY)) +
                   2 * reach;
        };
        const auto& inverse = m_view.inverse;
        while (m_cellHeight > Least &&
               findSize(GetScaleX(), inverse.xx, inverse.xy, GetReachX()) *
                       findSize(GetScaleY(), inverse.yx, inverse.yy, GetReachY()) >
                   MostPixels) {
            m_cellHeight = m_cellWidth > m_cellHeight ? m_cellHeight : m_cellHeight / 2;
            m_cellWidth = m_cellHeight;
        }
    }

    /// Whether the picture covers all pixels of the band, which it does if those in the corners
    /// are.
    bool IsBandInside() const noexcept {
        const auto isInside = [&](int x, int y) {
            return IsCovered(m_view.inverse.Map({x + 0.5, y + 0.5}));
        };
        return isInside(m_tile.left, m_bandBegin) && isInside(m_tile.right - 1, m_bandBegin) &&
               isInside(m_tile.left, m_bandEnd - 1) && isInside(m_tile.right - 1, m_bandEnd - 1);
    }

    /// Whether the picture covers the whole of a pixel, whose centre comes from `at`.
    bool IsCovered(AffineTransform::Point at) const noexcept {
        return at.x >= GetHalfX() && at.x <= m_view.source.GetWidth() - GetHalfX() &&
               at.y >= GetHalfY() && at.y <= m_view.source.GetHeight() - GetHalfY();
    }

    void FilterBand() {
        const int width = static_cast<int>(m_tile.GetWidth());
        const bool isInside = IsBandInside();
        std::ranges::fill(m_runs, ColumnRun{0, width});
        for (int y = m_bandBegin; y < m_bandEnd && !isInside; ++y) {
            MapRow(m_view.inverse, m_tile, y, m_points);
            m_runs[static_cast<std::size_t>(y - m_bandBegin)] = FindCovered();
        }
        for (int begin = 0; begin < width; begin += m_cellWidth) {
            FilterCell({begin, std::min(begin + m_cellWidth, width)});
        }
        for (int y = m_bandBegin; y < m_bandEnd && !isInside; ++y) {
            MapRow(m_view.inverse, m_tile, y, m_points);
            Cover(static_cast<std::size_t>(y - m_bandBegin));
        }
    }

    /// The pixels of a row that may be covered.
    ColumnRun FindCovered() const noexcept {
        const double halfX = GetHalfX();
        const double halfY = GetHalfY();
        const auto isOutside = [&](int i) {
            return !(m_points.x[i] > -halfX && m_points.x[i] < m_view.source.GetWidth() + halfX &&
                     m_points.y[i] > -halfY && m_points.y[i] < m_view.source.GetHeight() + halfY) ||
                   GetCoverage(i) == 0;
        };
        // The picture is convex, so the pixels that it covers are consecutive.
        ColumnRun run{0, static_cast<int>(m_tile.GetWidth())};
        while (run.begin < run.end && isOutside(run.begin)) {
            ++run.begin;
        }
        while (run.end > run.begin && isOutside(run.end - 1)) {
            --run.end;
        }
        return run;
    }

    double GetCoverage(int i) const noexcept {
        const AffineTransform::Point at{m_points.x[i], m_points.y[i]};
        return IsCovered(at) ? 1
                             : FindCoverage(m_view.inverse, at, m_view.source.GetWidth(),
                                            m_view.source.GetHeight());
    }

    /// Multiplies the pixels of a row by their coverage. Those that are covered whole are
    /// consecutive, too.
    void Cover(std::size_t index) noexcept {
        const ColumnRun run = m_runs[index];
        const auto cover = [&](int i) {
            const auto coverage = static_cast<float>(GetCoverage(i));
            float* const pixel = m_rows[index].At(i);
            std::transform(pixel, pixel + 4, pixel,
                           [coverage](float sample) { return sample * coverage; });
            return coverage < 1;
        };
        int i = run.begin;
        while (i < run.end && cover(i)) {
            ++i;
        }
        for (int end = run.end; end > i + 1 && cover(end - 1);) {
            --end;
        }
    }

    void FilterCell(ColumnRun cell) {
        const auto cut = [&](int y) {
            const ColumnRun run = m_runs[static_cast<std::size_t>(y - m_bandBegin)];
            return ColumnRun{std::max(run.begin, cell.begin), std::min(run.end, cell.end)};
        };
        bool isLoaded = false;
        for (int y = m_bandBegin; y < m_bandEnd; ++y) {
            const ColumnRun run = cut(y);
            if (run.IsEmpty()) {
                continue;
            }
            if (!isLoaded) {
                LoadBlock(cell);
                isLoaded = true;
            }
            MapRow(m_view.inverse, m_tile, y, m_points);
            FilterRun(run, m_rows[static_cast<std::size_t>(y - m_bandBegin)]);
        }
    }

    void LoadBlock(ColumnRun cell) {
        BlockArea area{
            {}, GetReachX(), GetReachY(), m_view.footprint.reachX, m_view.footprint.reachY};
        const double left = m_tile.left + cell.begin;
        const double right = m_tile.left + cell.end;
        std::size_t index = 0;
        for (const AffineTransform::Point corner : {AffineTransform::Point{left, 1.0 * m_bandBegin},
                                                    {right, 1.0 * m_bandBegin},
                                                    {right, 1.0 * m_bandEnd},
                                                    {left, 1.0 * m_bandEnd}}) {
            const auto at = m_view.inverse.Map(corner);
            area.corners[index++] = {at.x * GetScaleX(), at.y * GetScaleY()};
        }
        m_block.Load(area, !m_view.footprint.isSeparable);
    }

    void FilterRun(ColumnRun run, RowBuffer& row) {
        // The filters write a multiple of four pixels.
        RowBuffer result;
        const auto count = static_cast<std::size_t>(run.end - run.begin);
        const FilterPoints points{m_points.x + run.begin, m_points.y + run.begin, count,
                                  GetScaleX(), GetScaleY()};
        if (m_view.footprint.isSeparable) {
            FilterByPhases(m_block, m_view.phases[0], m_view.phases[1], points,
                           MayBeInfinite(m_view.source), result.rgba);
        } else {
            FilterByKernel(m_block, m_view.footprint,
                           m_view.kernel ? m_view.kernel->Get() : nullptr, points,
                           MayBeInfinite(m_view.source), result.rgba);
        }
        std::copy_n(result.rgba, count * 4, row.At(run.begin));
    }

    AffineView m_view;
    Rect m_tile;
    int m_bandBegin = 0;
    int m_bandEnd;
    int m_cellWidth = TileWidth;
    int m_cellHeight = 64;
    PictureBlock m_block;
    RowPoints m_points;
    std::vector<RowBuffer> m_rows;  // premultiplied
    std::vector<ColumnRun> m_runs;
};

}  // namespace

AffineResampler::AffineResampler(const SpanSource& source, const MapShape& shape, Sampler sampler)
    : m_source(source),
      m_inverse(shape.inverse),
      m_footprint(sampler, shape, source.GetWidth(), source.GetHeight()) {
    if (m_footprint.isSeparable) {
        m_phases = {PhaseTable(sampler, m_footprint.reachX),
                    PhaseTable(sampler, m_footprint.reachY)};
    } else if (!m_footprint.image) {
        m_kernel.emplace(sampler);
    }
}

std::unique_ptr<TileRows> AffineResampler::OpenTile(const Rect& tile) const {
    return std::make_unique<AffineRows>(
        AffineView{m_source, m_inverse, m_footprint, m_phases, m_kernel}, tile);
}

}  // namespace Raster
