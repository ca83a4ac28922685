#include "resampling/AffineResampler.h"

#include "resampling/NearestResampler.h"
#include "resampling/PixelFilters.h"

#include <algorithm>
#include <cmath>

namespace Raster {

namespace {

/// How many rows of a tile share one loaded block of the source: few enough that it fits the L2
/// cache.
constexpr int BlockHeight = 64;

std::size_t RoundUp(std::size_t count, std::size_t unit) noexcept {
    return (count + unit - 1) / unit * unit;
}

/// A premultiplied block of a picture. Edge mode: clamp, edge pixels repeat.
class PictureBlock {
public:
    void Load(const SpanSource& picture, const Rect& rect) {
        m_rect = rect;
        m_stride = RoundUp(static_cast<std::size_t>(rect.GetWidth()), TileWidth) * 4;
        m_rows.resize(m_stride / (std::size_t{TileWidth} * 4) *
                      static_cast<std::size_t>(rect.GetHeight()));
        int before = -1;
        for (int y = rect.top; y < rect.bottom; ++y) {
            const int from = std::clamp(y, 0, picture.GetHeight() - 1);
            if (from == before) {
                std::copy_n(GetRow(y - 1), m_stride, GetRow(y));
            } else {
                LoadRow(picture, from, GetRow(y));
            }
            before = from;
        }
    }

    const Rect& GetRect() const noexcept { return m_rect; }
    std::size_t GetStride() const noexcept { return m_stride; }
    const float* At(int x, int y) const noexcept {
        return m_rows.data()->rgba + static_cast<std::size_t>(y - m_rect.top) * m_stride +
               static_cast<std::size_t>(x - m_rect.left) * 4;
    }

private:
    float* GetRow(int y) noexcept { return const_cast<float*>(At(m_rect.left, y)); }

    void LoadRow(const SpanSource& picture, int from, float* row) const {
        const int begin = std::clamp(m_rect.left, 0, picture.GetWidth() - 1);
        const int end = std::clamp(m_rect.right, begin + 1, picture.GetWidth());
        for (int x = begin; x < end; x += TileWidth) {
            RowBuffer part;
            const auto count = static_cast<std::size_t>(std::min(TileWidth, end - x));
            picture.Read(x, from, count, part.rgba);
            Premultiply(part.rgba, count);
            std::copy_n(part.rgba, count * 4, row + std::ptrdiff_t{x - m_rect.left} * 4);
        }
        for (int x = m_rect.left; x < begin; ++x) {
            std::copy_n(row + std::ptrdiff_t{begin - m_rect.left} * 4, 4,
                        row + std::ptrdiff_t{x - m_rect.left} * 4);
        }
        for (int x = end; x < m_rect.right; ++x) {
            std::copy_n(row + std::ptrdiff_t{end - 1 - m_rect.left} * 4, 4,
                        row + std::ptrdiff_t{x - m_rect.left} * 4);
        }
    }

    Rect m_rect;
    std::size_t m_stride = 0;
    std::vector<RowBuffer> m_rows;
};

/// The data of the resampler for AffineRows.
struct AffineView {
    int width;
    int height;
    const AffineTransform::Params& inverse;
    const SpanSource& picture;
    const AffineTransform::Params& toPicture;
    const PhaseTable& table;
};

class AffineRows final : public TileRows {
public:
    AffineRows(const AffineView& view, const Rect& tile) noexcept
        : m_view(view), m_tile(tile), m_blockEnd(tile.top) {}

    ColumnRun Read(int y, RowBuffer& row) override {
        RowPoints points;
        MapRow(m_view.inverse, m_tile, y, points);
        const ColumnRun run =
            FindInside(points, static_cast<int>(m_tile.GetWidth()), m_view.width, m_view.height);
        if (!run.IsEmpty()) {
            if (y >= m_blockEnd) {
                LoadBlock(y);
            }
            MapRow(m_view.toPicture, m_tile, y, points);
            Filter(points, run, row);
            Unpremultiply(row.rgba, static_cast<std::size_t>(run.end - run.begin));
        }
        MoveInto(run, static_cast<int>(m_tile.GetWidth()), row);
        return run;
    }

private:
    int GetTapCount() const noexcept { return static_cast<int>(m_view.table.GetCount()); }
    int GetColumnCount() const noexcept { return GetTapCount() > 4 ? 8 : 4; }

    void LoadBlock(int y) {
        m_blockEnd = std::min(y + BlockHeight, m_tile.bottom);
        const Rect whole{0, 0, m_view.picture.GetWidth(), m_view.picture.GetHeight()};
        const Rect image = m_view.toPicture.MapRect({m_tile.left, y, m_tile.right, m_blockEnd});
        // One more than the filter's support, since rounding may move a point across an edge.
        const int reach = GetTapCount() / 2 + 1;
        m_block.Load(m_view.picture, {std::clamp(image.left, 0, whole.right) - reach,
                                      std::clamp(image.top, 0, whole.bottom) - reach,
                                      std::clamp(image.right, 0, whole.right) + reach +
                                          GetColumnCount() - GetTapCount(),
                                      std::clamp(image.bottom, 0, whole.bottom) + reach});
    }

    void Filter(const RowPoints& points, ColumnRun run, RowBuffer& row) const {
        FilterPoint four[4];
        for (int i = run.begin; i < run.end; i += 4) {
            for (int j = 0; j < 4; ++j) {
                const int at = std::min(i + j, run.end - 1);
                four[j] = MakePoint(points.x[at] - 0.5, points.y[at] - 0.5);
            }
            FilterPoints(four, m_block.GetStride(), m_view.table.GetCount(),
                         static_cast<std::size_t>(GetColumnCount()), row.At(i - run.begin));
        }
    }

    FilterPoint MakePoint(double x, double y) const noexcept {
        const int before = GetTapCount() / 2 - 1;
        const Rect& loaded = m_block.GetRect();
        const int left = Floor(x, loaded.left + before, loaded.right - GetColumnCount() + before);
        const int top = Floor(y, loaded.top + before, loaded.bottom - GetTapCount() + before);
        FilterPoint point{m_block.At(left - before, top - before), {}, {}};
        m_view.table.Get(x - left, point.columnWeights);
        m_view.table.Get(y - top, point.rowWeights);
        return point;
    }

    /// The floor, clamped to the block even if `value` is too large to have a fraction.
    static int Floor(double value, int low, int high) noexcept {
        return static_cast<int>(
            std::min(double{1} * high, std::max(double{1} * low, std::floor(value))));
    }

    AffineView m_view;
    Rect m_tile;
    int m_blockEnd;
    PictureBlock m_block;
};

}  // namespace

PhaseTable::PhaseTable(Sampler sampler)
    : m_count(static_cast<std::size_t>(2 * GetFilterReach(sampler))) {
    for (std::size_t phase = 0; phase <= PhaseCount; ++phase) {
        const double at = static_cast<double>(phase) / PhaseCount + GetFilterReach(sampler) - 1;
        double sum = 0;
        for (std::size_t k = 0; k < m_count; ++k) {
            sum += EvaluateFilter(sampler, std::fabs(static_cast<double>(k) - at));
        }
        for (std::size_t k = 0; k < m_count; ++k) {
            m_weights[phase][k] = static_cast<float>(
                EvaluateFilter(sampler, std::fabs(static_cast<double>(k) - at)) / sum);
        }
    }
}

void PhaseTable::Get(double phase, float* weights) const noexcept {
    const double place = std::min(std::max(0.0, phase), 1.0) * PhaseCount;
    const std::size_t index = std::min(static_cast<std::size_t>(place), PhaseCount - 1);
    const float share = static_cast<float>(place - static_cast<double>(index));
    for (std::size_t k = 0; k < m_count; ++k) {
        const float low = m_weights[index][k];
        weights[k] = low + (m_weights[index + 1][k] - low) * share;
    }
}

AffineResampler::AffineResampler(const SpanSource& source, const AffineTransform::Params& inverse,
                                 Sampler sampler, const Rect& rect, const bool* abort)
    : m_width(source.GetWidth()),
      m_height(source.GetHeight()),
      m_inverse(inverse),
      m_table(sampler),
      m_picture(&source),
      m_toPicture(inverse) {
    constexpr double SmallestReduction = 1.001;
    const double stepX = std::hypot(inverse.xx, inverse.xy);
    const double stepY = std::hypot(inverse.yx, inverse.yy);
    if (std::max(stepX, stepY) > SmallestReduction && m_width > 0 && m_height > 0) {
        Reduce(source, std::max(stepX, 1.0), std::max(stepY, 1.0), rect, abort);
    }
}

void AffineResampler::Reduce(const SpanSource& source, double stepX, double stepY, const Rect& rect,
                             const bool* abort) {
    using Params = AffineTransform::Params;
    const double width = std::max(1.0, std::floor(m_width / stepX));
    const double height = std::max(1.0, std::floor(m_height / stepY));
    const Params scale = Params::Scale(width / m_width, height / m_height);
    const Rect needed = scale.Compose(m_inverse).MapRect(rect);
    // The margin is the support of the filter.
    const int reach = static_cast<int>(m_table.GetCount());
    const auto widen = [reach](int edge, int by, double limit) {
        return static_cast<int>(std::clamp(double{1} * edge + by * reach, 0.0, limit));
    };
    const Rect part{widen(needed.left, -1, width), widen(needed.top, -1, height),
                    widen(needed.right, 1, width), widen(needed.bottom, 1, height)};
    if (part.IsEmpty()) {
        m_width = 0;  // no pixel of `rect` is inside
        return;
    }
    const Params toPart = Params::Translate(-part.left, -part.top).Compose(scale);
    const auto pixelCount = static_cast<std::size_t>(part.GetWidth() * part.GetHeight());
    m_reducedPixels.resize((pixelCount + TileWidth - 1) / TileWidth);
    PixelView view;
    view.pixels = reinterpret_cast<std::byte*>(m_reducedPixels.data());
    view.width = static_cast<int>(part.GetWidth());
    view.height = static_cast<int>(part.GetHeight());
    view.format = &GetPixelFormat(Format::RGBAF);
    view.stride = view.width * static_cast<std::ptrdiff_t>(view.format->GetPixelSize());
    Create(source, *toPart.Invert(), Sampler::Area, view.GetBounds(), abort)->Fill(view, abort);
    m_reduced = std::make_unique<ViewSource>(
        ConstPixelView{view.pixels, view.stride, view.width, view.height, view.format});
    m_picture = m_reduced.get();
    m_toPicture = toPart.Compose(m_inverse);
}

std::unique_ptr<TileRows> AffineResampler::OpenTile(const Rect& tile) const {
    return std::make_unique<AffineRows>(
        AffineView{m_width, m_height, m_inverse, *m_picture, m_toPicture, m_table}, tile);
}

}  // namespace Raster
