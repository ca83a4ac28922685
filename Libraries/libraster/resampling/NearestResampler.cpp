#include "resampling/NearestResampler.h"

#include "formats/PixelSizes.h"
#include "resampling/PointFilters.h"

#include <algorithm>
#include <cstring>

namespace Raster {

namespace {

/// Integer coordinates of source pixels.
struct Places {
    int x[TileWidth];
    int y[TileWidth];
};

/// Gathers pixels into contiguous memory.
void Gather(const ConstPixelView& view, const Places& places, std::size_t count,
            std::byte* pixels) {
    WithPixelSize(view.format->GetPixelSize(), [&](auto size) {
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(pixels + i * size,
                        view.pixels + places.y[i] * view.stride +
                            static_cast<std::ptrdiff_t>(size) * places.x[i],
                        size);
        }
    });
}

/// Finds the source's pixels for row `row` of `tile` and returns the columns that have one.
ColumnRun FindPlaces(const SpanSource& source, const AffineTransform::Params& inverse,
                     const Rect& tile, int row, Places& places) noexcept {
    RowPoints points;
    MapRow(inverse, tile, row, points);
    const ColumnRun run = FindInside(points, static_cast<int>(tile.GetWidth()), source.GetWidth(),
                                     source.GetHeight());
    for (int i = run.begin; i < run.end; ++i) {
        places.x[i - run.begin] = static_cast<int>(points.x[i]);
        places.y[i - run.begin] = static_cast<int>(points.y[i]);
    }
    return run;
}

class NearestRows final : public TileRows {
public:
    NearestRows(const SpanSource& source, const AffineTransform::Params& inverse,
                const Rect& tile) noexcept
        : m_source(source), m_inverse(inverse), m_tile(tile) {}

    ColumnRun Read(int y, RowBuffer& row) override {
        Places places;
        const ColumnRun run = FindPlaces(m_source, m_inverse, m_tile, y, places);
        ReadPlaces(places, static_cast<std::size_t>(run.end - run.begin), row);
        MoveInto(run, static_cast<int>(m_tile.GetWidth()), row);
        return run;
    }

private:
    void ReadPlaces(const Places& places, std::size_t count, RowBuffer& row) const {
        if (const ConstPixelView* const view = m_source.GetView()) {
            alignas(64) std::byte pixels[TileWidth * MaximumPixelSize];
            Gather(*view, places, count, pixels);
            view->format->read(pixels, row.rgba, count);
            return;
        }
        for (std::size_t i = 0; i < count; ++i) {
            alignas(64) float pixel[4];
            m_source.Read(places.x[i], places.y[i], 1, pixel);
            std::copy_n(pixel, 4, row.rgba + i * 4);
        }
    }

    const SpanSource& m_source;
    AffineTransform::Params m_inverse;
    Rect m_tile;
};

}  // namespace

std::unique_ptr<TileRows> NearestResampler::OpenTile(const Rect& tile) const {
    return std::make_unique<NearestRows>(m_source, m_inverse, tile);
}

bool NearestResampler::CopyTile(const PixelView& target, const Rect& tile) const {
    const ConstPixelView* const view = m_source.GetView();
    if (view == nullptr || view->format != target.format) {
        return false;
    }
    for (int y = tile.top; y < tile.bottom; ++y) {
        Places places;
        const ColumnRun run = FindPlaces(m_source, m_inverse, tile, y, places);
        const Rect covered{tile.left + run.begin, y, tile.left + run.end, y + 1};
        Gather(*view, places, static_cast<std::size_t>(run.end - run.begin),
               target.At(covered.left, y));
        ClearAround(target, {tile.left, y, tile.right, y + 1}, covered);
    }
    return true;
}

void MapRow(const AffineTransform::Params& inverse, const Rect& tile, int row,
            RowPoints& points) noexcept {
    const auto start = inverse.Map({0, row + 0.5});
    const auto count = static_cast<std::size_t>(tile.GetWidth());
    Interpolate(start.x, inverse.xx, tile.left + 0.5, count, points.x);
    Interpolate(start.y, inverse.yx, tile.left + 0.5, count, points.y);
}

ColumnRun FindInside(const RowPoints& points, int count, int width, int height) noexcept {
    const auto isInside = [&](int i) {
        return points.x[i] >= 0 && points.x[i] < width && points.y[i] >= 0 && points.y[i] < height;
    };
    // Coordinates are monotonic along a line, so the points inside are consecutive.
    ColumnRun run{0, count};
    while (run.begin < run.end && !isInside(run.begin)) {
        ++run.begin;
    }
    while (run.end > run.begin && !isInside(run.end - 1)) {
        --run.end;
    }
    return run;
}

}  // namespace Raster
