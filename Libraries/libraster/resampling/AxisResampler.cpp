#include "resampling/AxisResampler.h"

#include "resampling/PixelFilters.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace Raster {

namespace {

/// A row of any number of pixels, initially 0, padded to a multiple of TileWidth for the filters.
class WideRow {
public:
    explicit WideRow(int width = 0)
        : m_parts((static_cast<std::size_t>(width) + TileWidth - 1) / TileWidth) {}

    float* Get() noexcept { return m_parts.data()->rgba; }
    void Clear() noexcept { std::ranges::fill(m_parts, RowBuffer{}); }

private:
    std::vector<RowBuffer> m_parts;
};

/// The base of the filter strategies: the columns of one tile.
class FilteredRows : public TileRows {
public:
    FilteredRows(const SpanSource& source, const FilterTaps& columns, const FilterTaps& rows,
                 const Rect& tile)
        : m_source(source),
          m_columns(columns),
          m_rows(rows),
          m_tile(tile),
          m_isGuarded(MayBeInfinite(source)) {
        const int begin = std::clamp(columns.GetBegin(), tile.left, tile.right);
        const int end = std::clamp(columns.GetEnd(), begin, tile.right);
        m_run = {begin - tile.left, end - tile.left};
        if (m_run.IsEmpty()) {
            return;
        }
        // First taps are not always monotonic: a pixel exactly on a source pixel has that tap only.
        const auto [least, most] =
            std::ranges::minmax(std::span(columns.Get(begin).first, GetRunWidth()));
        m_left = least;
        m_width = most - least + static_cast<int>(columns.GetCount());
    }

    ColumnRun Read(int y, RowBuffer& row) final {
        const bool isInside = !m_run.IsEmpty() && y >= m_rows.GetBegin() && y < m_rows.GetEnd();
        const ColumnRun run = isInside ? m_run : ColumnRun{};
        if (isInside) {
            Filter(y, row);
            Unpremultiply(row.rgba, GetRunWidth());
        }
        MoveInto(run, static_cast<int>(m_tile.GetWidth()), row);
        return run;
    }

protected:
    /// Filters the pixels of the run of row `y`, premultiplied.
    virtual void Filter(int y, RowBuffer& row) = 0;

    const SpanSource& GetSource() const noexcept { return m_source; }
    const FilterTaps& GetRows() const noexcept { return m_rows; }
    const Rect& GetTile() const noexcept { return m_tile; }
    std::size_t GetRunWidth() const noexcept {
        return static_cast<std::size_t>(m_run.end - m_run.begin);
    }

    /// The source pixels of a row that this tile needs; those beyond the source stay 0.
    int GetLeft() const noexcept { return m_left; }
    int GetWidth() const noexcept { return m_width; }
    int GetSourceWidth() const noexcept { return std::min(m_width, m_source.GetWidth() - m_left); }

    void ReadPremultiplied(int sourceRow, WideRow& row) const {
        constexpr int Ahead = 4;
        const ConstPixelView* const view = m_source.GetView();
        if (view != nullptr && sourceRow + Ahead < view->height) {
            FetchAhead(view->At(m_left, sourceRow + Ahead),
                       static_cast<std::size_t>(GetSourceWidth()) * view->format->GetPixelSize());
        }
        for (int done = 0; done < GetSourceWidth(); done += TileWidth) {
            const auto count =
                static_cast<std::size_t>(std::min(TileWidth, GetSourceWidth() - done));
            float* const rgba = row.Get() + std::ptrdiff_t{done} * 4;
            m_source.Read(m_left + done, sourceRow, count, rgba);
            Premultiply(rgba, count);
        }
    }

    void FilterAlong(WideRow& row, RowBuffer& result) const noexcept {
        FilterRow(row.Get(), m_left, m_columns.Get(m_tile.left + m_run.begin), result.rgba,
                  GetRunWidth(), m_isGuarded);
    }

private:
    const SpanSource& m_source;
    const FilterTaps& m_columns;
    const FilterTaps& m_rows;
    Rect m_tile;
    bool m_isGuarded;
    ColumnRun m_run;
    int m_left = 0;
    int m_width = 0;
};

/// For downscaling: sums source rows directly from memory by the format's RowBlender.
class ByteRows final : public FilteredRows {
public:
    using FilteredRows::FilteredRows;

protected:
    void Filter(int y, RowBuffer& row) override {
        FetchRowsAhead(y + 2);
        const Taps taps = GetRows().Get(y);
        m_addends.clear();
        m_weights.clear();
        for (std::size_t k = 0; k < taps.count; ++k) {
            if (taps.weights[k] != 0) {
                m_addends.push_back(GetPixels(taps, k));
                m_weights.push_back(taps.weights[k]);
            }
        }
        GetFormat().blendRows(m_addends.data(), m_weights.data(), m_addends.size(), m_sum.Get(),
                              static_cast<std::size_t>(GetSourceWidth()));
        FilterAlong(m_sum, row);
    }

private:
    const PixelFormat& GetFormat() const noexcept { return *GetSource().GetView()->format; }

    const std::byte* GetPixels(const Taps& taps, std::size_t index) const noexcept {
        return GetSource().GetView()->At(GetLeft(), taps.first[0] + static_cast<int>(index));
    }

    /// Parts of rows are too short for the hardware prefetcher.
    void FetchRowsAhead(int y) const noexcept {
        constexpr std::size_t Most = std::size_t{64} << 10;  // leaves room for others in the cache
        const std::size_t size =
            static_cast<std::size_t>(GetSourceWidth()) * GetFormat().GetPixelSize();
        const std::size_t count = GetRows().GetCount();
        if (y >= GetTile().bottom || y >= GetRows().GetEnd() || size * count > Most) {
            return;
        }
        const Taps taps = GetRows().Get(y);
        for (std::size_t k = 0; k < count; ++k) {
            FetchAhead(GetPixels(taps, k), size);
        }
    }

    WideRow m_sum{GetWidth()};
    std::vector<const void*> m_addends;
    std::vector<float> m_weights;
};

/// For downscaling: adds each source row, converted once, to all destination rows whose footprint
/// contains it.
class SummedRows final : public FilteredRows {
public:
    SummedRows(const SpanSource& source, const FilterTaps& columns, const FilterTaps& rows,
               const Rect& tile, bool isMirrored)
        : FilteredRows(source, columns, rows, tile),
          m_isMirrored(isMirrored),
          m_end(std::min(tile.bottom, rows.GetEnd())),
          m_next(isMirrored ? source.GetHeight() - 1 : 0),
          m_sums(CountOpenRows()) {
        std::ranges::fill(m_sums, WideRow(GetWidth()));
    }

protected:
    void Filter(int y, RowBuffer& row) override {
        if (m_isMirrored) {
            for (m_next = std::min(m_next, GetLast(y)); m_next >= GetFirst(y); --m_next) {
                AddToAll(y);
            }
        } else {
            for (m_next = std::max(m_next, GetFirst(y)); m_next <= GetLast(y); ++m_next) {
                AddToAll(y);
            }
        }
        WideRow& sum = GetSum(y);
        FilterAlong(sum, row);
        sum.Clear();
    }

private:
    int GetFirst(int y) const noexcept { return GetRows().Get(y).first[0]; }
    int GetLast(int y) const noexcept {
        return GetFirst(y) + static_cast<int>(GetRows().GetCount()) - 1;
    }
    WideRow& GetSum(int y) noexcept {
        return m_sums[static_cast<std::size_t>(y - GetTile().top) % m_sums.size()];
    }

    /// The end of the destination rows from `y` on whose footprint starts, in reading order, no
    /// later than at `sourceRow`.
    int FindOpenEnd(int y, int sourceRow) const noexcept {
        int open = y;
        while (open < m_end &&
               (m_isMirrored ? GetLast(open) >= sourceRow : GetFirst(open) <= sourceRow)) {
            ++open;
        }
        return open;
    }

    std::size_t CountOpenRows() const noexcept {
        int most = 1;
        for (int y = std::max(GetTile().top, GetRows().GetBegin()); y < m_end; ++y) {
            most = std::max(most, FindOpenEnd(y, m_isMirrored ? GetFirst(y) : GetLast(y)) - y);
        }
        return static_cast<std::size_t>(most);
    }

    void AddToAll(int y) {
        ReadPremultiplied(m_next, m_line);
        const int end = FindOpenEnd(y, m_next);
        for (int open = y; open < end; ++open) {
            const float weight = GetRows().Get(open).weights[m_next - GetFirst(open)];
            if (weight != 0) {
                AddRow(m_line.Get(), weight, GetSum(open).Get(),
                       static_cast<std::size_t>(GetWidth()));
            }
        }
    }

    bool m_isMirrored;
    int m_end;
    int m_next;  // source row
    std::vector<WideRow> m_sums;
    WideRow m_line{GetWidth()};
};

/// For upscaling: caches horizontally filtered source rows for as long as destination rows need
/// them.
class KeptRows final : public FilteredRows {
public:
    KeptRows(const SpanSource& source, const FilterTaps& columns, const FilterTaps& rows,
             const Rect& tile)
        : FilteredRows(source, columns, rows, tile),
          m_kept(rows.GetCount()),
          m_numbers(rows.GetCount(), -1) {}

protected:
    void Filter(int y, RowBuffer& row) override {
        const Taps taps = GetRows().Get(y);
        m_needed.clear();
        m_weights.clear();
        for (std::size_t k = 0; k < taps.count; ++k) {
            if (taps.weights[k] != 0) {
                m_needed.push_back(Keep(taps.first[0] + static_cast<int>(k)));
                m_weights.push_back(taps.weights[k]);
            }
        }
        SumRows(m_needed.data(), m_weights.data(), m_needed.size(), row.rgba, GetRunWidth());
    }

private:
    const float* Keep(int sourceRow) {
        const std::size_t slot = static_cast<std::size_t>(sourceRow) % m_kept.size();
        if (m_numbers[slot] != sourceRow) {
            ReadPremultiplied(sourceRow, m_line);
            FilterAlong(m_line, m_kept[slot]);
            m_numbers[slot] = sourceRow;
        }
        return m_kept[slot].rgba;
    }

    std::vector<RowBuffer> m_kept;
    std::vector<int> m_numbers;
    std::vector<const float*> m_needed;
    std::vector<float> m_weights;
    WideRow m_line{GetWidth()};
};

}  // namespace

AxisResampler::AxisResampler(const SpanSource& source, AxisMap horizontal, AxisMap vertical,
                             Sampler sampler, const Rect& rect)
    : m_source(source),
      m_columns(sampler, horizontal, rect.left, rect.right, source.GetWidth(), 4),
      m_rows(sampler, vertical, rect.top, rect.bottom, source.GetHeight(), 1),
      m_rowStep(vertical.scale) {}

std::unique_ptr<TileRows> AxisResampler::OpenTile(const Rect& tile) const {
    // Only then are first taps monotonic. At 1 some weights are 0, or nearly 0 after rounding, and
    // whether such a tap is trimmed varies from row to row.
    constexpr double InOrder = 1 + 0x1p-20;
    const bool isShrinking = std::fabs(m_rowStep) > InOrder;
    const ConstPixelView* const view = m_source.GetView();
    if (isShrinking && view != nullptr && view->format->blendRows != nullptr) {
        return std::make_unique<ByteRows>(m_source, m_columns, m_rows, tile);
    }
    if (isShrinking) {
        return std::make_unique<SummedRows>(m_source, m_columns, m_rows, tile, m_rowStep < 0);
    }
    return std::make_unique<KeptRows>(m_source, m_columns, m_rows, tile);
}

}  // namespace Raster
