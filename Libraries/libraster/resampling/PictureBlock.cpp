#include "resampling/PictureBlock.h"

#include "resampling/PixelFilters.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Raster {

namespace {

/// Pixels that the filters may read beyond the last tap.
constexpr int Padding = 16;
/// Rows begin at multiples of this, so that a source can be read into place.
constexpr int Alignment = 4;

int CeilShift(int value, int shift) noexcept {
    return static_cast<int>(((1LL * value - 1) >> shift) + 1);
}

float GetLastShare(int size, int shift) noexcept {
    const long long whole = 1LL << shift;
    return static_cast<float>((size - 1) % whole + 1) / static_cast<float>(whole);
}

int FloorToInt(double value, int low, int high) noexcept {
    return static_cast<int>(std::floor(std::clamp(value, double{1} * low, double{1} * high)));
}

}  // namespace

PictureBlock::PictureBlock(const SpanSource& source, int halvingsX, int halvingsY)
    : m_source(source),
      m_halvingsX(halvingsX),
      m_halvingsY(halvingsY),
      m_width(CeilShift(source.GetWidth(), halvingsX)),
      m_height(CeilShift(source.GetHeight(), halvingsY)),
      m_lastShareX(GetLastShare(source.GetWidth(), halvingsX)),
      m_lastShareY(GetLastShare(source.GetHeight(), halvingsY)) {}

void PictureBlock::Load(const BlockArea& area, bool isRagged) {
    Arrange(area, isRagged);
    for (int y = std::max(0, m_rect.top); y < std::min(m_height, m_rect.bottom); ++y) {
        const Span needed = m_spans[static_cast<std::size_t>(y - m_rect.top)];
        if (needed.begin >= needed.end) {
            continue;
        }
        if (m_halvingsX == 0 && m_halvingsY == 0) {
            LoadRow(y, needed);
        } else {
            LoadHalvedRow(y, needed);
        }
    }
}

/// The columns of row `y` that are within reach of the area and in the source.
PictureBlock::Span PictureBlock::FindNeeded(const BlockArea& area, int y) const noexcept {
    const double top = y + 0.5 - area.reachY;
    const double bottom = y + 0.5 + area.reachY;
    double left = HUGE_VAL;
    double right = -HUGE_VAL;
    for (std::size_t i = 0; i < 4; ++i) {
        BlockArea::Corner from = area.corners[i];
        BlockArea::Corner to = area.corners[(i + 1) % 4];
        if (from.y > to.y) {
            std::swap(from, to);
        }
        if (from.y > bottom || to.y < top) {
            continue;
        }
        const double height = to.y - from.y;
        for (const double edge : {top, bottom, from.y, to.y}) {
            const double at = std::clamp(edge, from.y, to.y);
            if (at < top || at > bottom) {
                continue;
            }
            const double share = height > 0 ? (at - from.y) / height : 0;
            const double x = from.x + (to.x - from.x) * share;
            left = std::min({left, x, height > 0 ? x : to.x});
            right = std::max({right, x, height > 0 ? x : to.x});
        }
    }
    if (!(left <= right)) {
        return {0, 0};
    }
    return {FloorToInt(left - area.reachX - 0.5, 0, m_width),
            FloorToInt(right + area.reachX + 1.5, 0, m_width)};
}

void PictureBlock::Arrange(const BlockArea& area, bool isRagged) {
    const auto [left, right] = std::ranges::minmax(area.corners, {}, &BlockArea::Corner::x);
    const auto [top, bottom] = std::ranges::minmax(area.corners, {}, &BlockArea::Corner::y);
    constexpr int Most = 64;  // beyond a source that is smaller
    const int marginX = FloorToInt(area.tapsX, 0, std::max(Most, m_width)) + 2;
    const int marginY = FloorToInt(area.tapsY, 0, std::max(Most, m_height)) + 2;
    m_rect = {FloorToInt(left.x, 0, m_width) - marginX, FloorToInt(top.y, 0, m_height) - marginY,
              FloorToInt(right.x, 0, m_width) + marginX + 1,
              FloorToInt(bottom.y, 0, m_height) + marginY + 1};
    m_rect.left = (m_rect.left - (Alignment - 1)) / Alignment * Alignment;
    const auto alignUp = [](std::ptrdiff_t count) {
        return (count + Alignment - 1) / Alignment * Alignment;
    };
    m_spans.clear();
    m_starts.clear();
    m_stride = alignUp(m_rect.GetWidth() + Padding) * 4;
    std::ptrdiff_t size = 0;
    for (int y = m_rect.top; y < m_rect.bottom; ++y) {
        Span needed = y >= 0 && y < m_height ? FindNeeded(area, y) : Span{0, 0};
        needed.begin = needed.begin / Alignment * Alignment;
        m_spans.push_back(needed);
        if (isRagged) {
            m_starts.push_back(size - std::ptrdiff_t{needed.begin} * 4);
            size += alignUp(needed.end - needed.begin + Padding) * 4;
        } else {
            m_starts.push_back(size - std::ptrdiff_t{m_rect.left} * 4);
            size += m_stride;
        }
    }
    constexpr std::size_t PartSize = std::size_t{TileWidth} * 4;
    m_pixels.resize(std::max(m_pixels.size(), static_cast<std::size_t>(size) / PartSize + 1));
}

void PictureBlock::LoadRow(int y, Span needed) {
    auto* const row = const_cast<float*>(At(0, y));
    for (int x = needed.begin; x < needed.end; x += TileWidth) {
        const auto count = static_cast<std::size_t>(std::min(TileWidth, needed.end - x));
        m_source.Read(x, y, count, row + std::ptrdiff_t{x} * 4);
        Premultiply(row + std::ptrdiff_t{x} * 4, count);
    }
}

void PictureBlock::LoadHalvedRow(int y, Span needed) {
    auto* const row = const_cast<float*>(At(0, y));
    std::fill(row + std::ptrdiff_t{needed.begin} * 4, row + std::ptrdiff_t{needed.end} * 4, 0.0F);
    const auto scaleUp = [](int value, int shift, int limit) {
        return static_cast<int>(std::min<long long>(1LL * value << shift, limit));
    };
    const int top = scaleUp(y, m_halvingsY, m_source.GetHeight());
    const int bottom = scaleUp(y + 1, m_halvingsY, m_source.GetHeight());
    const int end = scaleUp(needed.end, m_halvingsX, m_source.GetWidth());
    RowBuffer part;
    for (int x = scaleUp(needed.begin, m_halvingsX, end); x < end; x += TileWidth) {
        const int count = std::min(TileWidth, end - x);
        RowBuffer sum{};
        for (int from = top; from < bottom; ++from) {
            m_source.Read(x, from, static_cast<std::size_t>(count), part.rgba);
            Premultiply(part.rgba, static_cast<std::size_t>(count));
            AddRow(part.rgba, 1, sum.rgba, static_cast<std::size_t>(count));
        }
        for (int i = 0; i < count; ++i) {
            float* const pixel = row + std::ptrdiff_t{(x + i) >> m_halvingsX} * 4;
            for (std::ptrdiff_t c = 0; c < 4; ++c) {
                pixel[c] += sum.At(i)[c];
            }
        }
    }
    for (int x = needed.begin; x < needed.end; ++x) {
        const int width = scaleUp(x + 1, m_halvingsX, end) - scaleUp(x, m_halvingsX, end);
        const float share = 1 / (static_cast<float>(width) * static_cast<float>(bottom - top));
        for (std::ptrdiff_t c = 0; c < 4; ++c) {
            row[std::ptrdiff_t{x} * 4 + c] *= share;
        }
    }
}

}  // namespace Raster
